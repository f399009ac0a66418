// Dotted paths: taken apart, checked, and joined again.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "netconf_dm_util.h"
#include "netconf_dm_util/decimal.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/path_text.h"
#include "netconf_dm_util/refuse.h"

namespace {

int FormError() { return nc::Refuse(NC_DM_FAULT_CODE_PARSE, "The form of dm's path is error!\n"); }

// Turns the number in the slot behind the last component into that component's instance id.
int TakeInstanceId(nc_dm_path_nodes_t* path_nodes) {
  const nc_int32 owner = path_nodes->total_node - 1;
  if (owner < 0) return FormError();
  char(&number)[NC_DM_MAX_NAME_LEN + 1] = path_nodes->nodes[path_nodes->total_node];
  // Converted as an unsigned number, which keeps the largest ids, and the negative ones as well.
  path_nodes->instances[owner] = static_cast<nc_int64>(strtoull(number, nullptr, 10));
  memset(number, 0, sizeof(number));
  return 0;
}

int AddComponent(nc_dm_path_nodes_t* path_nodes, std::string_view component, bool getinst) {
  if (component.size() > NC_DM_MAX_NAME_LEN) {
    return nc::Refuse(NC_DM_FAULT_CODE_PARSE, "The length of node is too long!\n");
  }
  if (path_nodes->total_node >= NC_DM_MAX_DEPTH) {
    return nc::Refuse(NC_DM_FAULT_CODE_PARSE, "The depth of path is too deep!\n");
  }
  char* name = path_nodes->nodes[path_nodes->total_node];
  memcpy(name, component.data(), component.size());
  name[component.size()] = '\0';
  if (getinst && nc::IsDecimal(component)) return TakeInstanceId(path_nodes);
  ++path_nodes->total_node;
  return 0;
}

constexpr bool IsNameStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || nc::IsDigit(c) || c == '_' ||
         c == '{' || c == '}';
}

constexpr bool IsNameRest(char c) { return IsNameStart(c) || c == '-'; }

}  // namespace

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is fixed
int nc_dm_parse(char* dm_name, nc_dm_path_nodes_t* path_nodes, bool getinst) {
  if (dm_name == nullptr || path_nodes == nullptr) {
    return nc::Refuse("Input parameter is invalid!\n");
  }
  path_nodes->total_node = 0;
  const char* rest = dm_name;
  while (true) {
    const char* end = strchrnul(rest, '.');
    const bool is_last = *end == '\0';
    const std::string_view component(rest, static_cast<size_t>(end - rest));
    if (component.empty()) {
      const bool is_behind_last_dot = is_last && rest != dm_name;
      return is_behind_last_dot ? 0 : FormError();
    }
    const int result = AddComponent(path_nodes, component, getinst);
    if (result != 0 || is_last) return result;
    rest = end + 1;
  }
}

bool nc_dm_check_root(const char* root, const nc_dm_path_nodes_t* path_nodes) {
  if (root == nullptr || path_nodes == nullptr) return false;
  if (strcmp(path_nodes->nodes[0], root) == 0) return true;
  NC_DM_LOG_ERROR("The first node must be %s, but your first node is \"%s\"!\n", root,
                  path_nodes->nodes[0]);
  return false;
}

bool nc_dm_check_c_naming(const char* name) {
  if (name == nullptr || !IsNameStart(*name)) return false;
  const std::string_view rest(name + 1);
  return std::all_of(rest.begin(), rest.end(), IsNameRest);
}

bool nc_dm_check_param_name(const nc_dm_path_nodes_t* path_nodes) {
  if (path_nodes == nullptr || path_nodes->total_node > NC_DM_MAX_DEPTH) return false;
  return std::all_of(path_nodes->nodes, path_nodes->nodes + std::max(path_nodes->total_node, 0),
                     nc_dm_check_c_naming);
}

int nc::JoinPath(const nc_dm_path_nodes_t& path, bool is_leaf, PathText* text) {
  if (path.total_node > NC_DM_MAX_DEPTH) return Refuse("Input parameter is invalid!\n");
  const nc_int32 last = path.total_node - 1;
  for (nc_int32 i = 0; i <= last; ++i) {
    const std::string_view name = ComponentName(path.nodes[i]);
    if (is_leaf && i == last) {
      text->PutLast(name, path.instances[i]);
    } else {
      text->Push(name, path.instances[i]);
    }
  }
  return text->Fits() ? 0 : Refuse("The length of path is too long!\n");
}

int nc_dm_agent_comb_path_name(char** path_name, nc_dm_path_nodes_t* path_nodes, bool is_leaf) {
  if (path_name == nullptr || path_nodes == nullptr) {
    return nc::Refuse("Input parameter is invalid!\n");
  }
  *path_name = nullptr;
  nc::MallocPtr<char> joined = nc::NewText(NC_DM_MAX_PATH_LEN + 1);
  if (joined == nullptr) return nc::Refuse("Failed to malloc for path_name!\n");
  nc::PathText text;
  if (nc::JoinPath(*path_nodes, is_leaf, &text) != 0) return -1;
  text.View().copy(joined.get(), NC_DM_MAX_PATH_LEN);
  *path_name = joined.release();
  return 0;
}

int nc_dm_agent_comb_reg_path_name(char** path_name, nc_dm_path_nodes_t* path_nodes, int node_cnt,
                                   bool is_leaf) {
  if (path_name == nullptr || path_nodes == nullptr || node_cnt > NC_DM_MAX_DEPTH) {
    return nc::Refuse("Input parameter is invalid!\n");
  }
  *path_name = nullptr;
  const std::span names(path_nodes->nodes, static_cast<size_t>(std::max(node_cnt, 0)));
  size_t size = 1;
  for (const auto& name : names) size += nc::ComponentName(name).size() + 1;
  nc::MallocPtr<char> joined = nc::NewText(size);
  if (joined == nullptr) return nc::Refuse("Failed to malloc for (*path_name)!\n");
  char* end = joined.get();
  for (const auto& component : names) {
    const std::string_view name = nc::ComponentName(component);
    end += name.copy(end, name.size());
    if (!is_leaf || &component != &names.back()) *end++ = '.';
  }
  *path_name = joined.release();
  return 0;
}
