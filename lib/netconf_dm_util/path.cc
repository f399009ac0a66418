// Dotted paths: taken apart, checked, and joined again.

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "netconf_dm_util.h"
#include "netconf_dm_util/decimal.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace {

int FormError() {
  NC_DM_LOG_ERROR("The form of dm's path is error!\n");
  return NC_DM_FAULT_CODE_PARSE;
}

// Turns the number in the slot behind the last component into that component's instance id.
int TakeInstanceId(nc_dm_path_nodes_t* path_nodes) {
  const nc_int32 owner = path_nodes->total_node - 1;
  if (owner < 0) return FormError();
  char(&number)[NC_DM_MAX_NAME_LEN + 1] = path_nodes->nodes[path_nodes->total_node];
  // Unsigned and back, so that the largest ids and the negative ones survive alike.
  path_nodes->instances[owner] = static_cast<nc_int64>(strtoull(number, nullptr, 10));
  memset(number, 0, sizeof(number));
  return 0;
}

int AddComponent(nc_dm_path_nodes_t* path_nodes, std::string_view component, bool getinst) {
  if (component.size() > NC_DM_MAX_NAME_LEN) {
    NC_DM_LOG_ERROR("The length of node is too long!\n");
    return NC_DM_FAULT_CODE_PARSE;
  }
  if (path_nodes->total_node >= NC_DM_MAX_DEPTH) {
    NC_DM_LOG_ERROR("The depth of path is too deep!\n");
    return NC_DM_FAULT_CODE_PARSE;
  }
  char* name = path_nodes->nodes[path_nodes->total_node];
  memcpy(name, component.data(), component.size());
  name[component.size()] = '\0';
  if (getinst && nc::IsDecimal(component)) return TakeInstanceId(path_nodes);
  ++path_nodes->total_node;
  return 0;
}

std::string_view NameOf(const char (&name)[NC_DM_MAX_NAME_LEN + 1]) {
  return {name, strnlen(name, sizeof(name))};
}

constexpr bool IsNameStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || nc::IsDigit(c) || c == '_' ||
         c == '{' || c == '}';
}

constexpr bool IsNameRest(char c) { return IsNameStart(c) || c == '-'; }

// Appends to a cleared buffer, whose last byte stays NUL, and remembers whether everything fitted.
class Joiner {
 public:
  explicit Joiner(std::span<char> buffer) : room_(buffer.first(buffer.size() - 1)) {}

  void Put(std::string_view text) {
    if (text.size() > room_.size()) {
      fits_ = false;
      room_ = {};
      return;
    }
    std::copy(text.begin(), text.end(), room_.begin());
    room_ = room_.subspan(text.size());
  }

  void PutId(nc_int64 id) {
    char digits[20];  // "-9223372036854775808"
    const auto result = std::to_chars(std::begin(digits), std::end(digits), id);
    Put({digits, static_cast<size_t>(result.ptr - digits)});
  }

  bool fits() const { return fits_; }

 private:
  std::span<char> room_;
  bool fits_ = true;
};

}  // namespace

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is fixed
int nc_dm_parse(char* dm_name, nc_dm_path_nodes_t* path_nodes, bool getinst) {
  if (dm_name == nullptr || path_nodes == nullptr) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return -1;
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

int nc_dm_agent_comb_path_name(char** path_name, nc_dm_path_nodes_t* path_nodes, bool is_leaf) {
  if (path_name == nullptr || path_nodes == nullptr || path_nodes->total_node > NC_DM_MAX_DEPTH) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return -1;
  }
  *path_name = nullptr;
  constexpr size_t kSize = NC_DM_MAX_PATH_LEN + 1;
  nc::MallocPtr<char> joined = nc::NewText(kSize);
  if (joined == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc for path_name!\n");
    return -1;
  }
  Joiner joiner(std::span(joined.get(), kSize));
  for (nc_int32 i = 0; i < path_nodes->total_node; ++i) {
    const bool is_open = is_leaf && i == path_nodes->total_node - 1;  // no dot at the end
    const nc_int64 id = path_nodes->instances[i];
    joiner.Put(NameOf(path_nodes->nodes[i]));
    if (!is_open || id != 0) joiner.Put(".");
    if (id == 0) continue;
    joiner.PutId(id);
    if (!is_open) joiner.Put(".");
  }
  if (!joiner.fits()) {
    NC_DM_LOG_ERROR("The length of path is too long!\n");
    return -1;
  }
  *path_name = joined.release();
  return 0;
}

int nc_dm_agent_comb_reg_path_name(char** path_name, nc_dm_path_nodes_t* path_nodes, int node_cnt,
                                   bool is_leaf) {
  if (path_name == nullptr || path_nodes == nullptr || node_cnt > NC_DM_MAX_DEPTH) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return -1;
  }
  *path_name = nullptr;
  const std::span names(path_nodes->nodes, static_cast<size_t>(std::max(node_cnt, 0)));
  size_t size = 1;
  for (const auto& name : names) size += NameOf(name).size() + 1;
  nc::MallocPtr<char> joined = nc::NewText(size);
  if (joined == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc for (*path_name)!\n");
    return -1;
  }
  Joiner joiner(std::span(joined.get(), size));
  for (const auto& name : names) {
    joiner.Put(NameOf(name));
    if (!is_leaf || &name != &names.back()) joiner.Put(".");
  }
  *path_name = joined.release();
  return 0;
}
