// Registration of the schema: a leaf enters the tree and is announced to the server.

#include "netconf_dm_agent/register_leaf.h"

#include <algorithm>
#include <cstring>

#include "netconf_dm_agent/id_range.h"
#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/mutex_lock.h"
#include "netconf_dm_util/refuse.h"

namespace {

bool FitsPath(const char* dm_name) {
  const size_t len = strnlen(dm_name, NC_DM_MAX_PATH_LEN + 1);
  return len > 0 && len <= NC_DM_MAX_PATH_LEN;
}

bool CheckLeafPath(const nc_dm_agent_node_t* leaf) {
  if (leaf == nullptr) return nc::Refuse(false, "Input parameter is invalid!\n");
  if (leaf->dm_path == nullptr) return nc::Refuse(false, "Register dm_reg path is null!\n");
  const size_t len = strlen(leaf->dm_path);
  if (len == 0) return nc::Refuse(false, "Register dm_reg path length is 0!\n");
  if (leaf->dm_path[len - 1] == '.') {
    return nc::Refuse(false, "Only leaf type can be register, the path can't be end with '.'!\n");
  }
  return true;
}

// True if all components are names. A range is none, although it has the characters of one: it is
// either expanded or a mistake.
bool AreNames(const nc_dm_path_nodes_t* path, nc::Numbers numbers) {
  return nc_dm_check_param_name(path) &&
         std::none_of(path->nodes, path->nodes + path->total_node, [&](const char* component) {
           return nc::HasRangeForm(component) ||
                  (numbers == nc::Numbers::kRefused && nc_dm_is_str_num(component));
         });
}

int Insert(nc_dm_agent_node_t* leaf, nc_dm_path_nodes_t* path, nc::Numbers numbers) {
  if (!CheckLeafPath(leaf)) return -1;
  const int parsed = nc_dm_parse(leaf->dm_path, path, false);
  if (parsed != 0) return parsed;
  if (!AreNames(path, numbers)) return nc::Refuse("Register dm name is invalid!\n");
  const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
  nc_dm_agent_node_t* last_node = nullptr;
  const nc_dm_agent_match_status_t status =
      nc_dm_agent_reg_match(&g_nc_agent_dm.dm_root, path, &last_node);
  if (status == NC_DM_CLIENT_MATCH_STATUS_LEAF || status == NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF ||
      status == NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF_MODE) {
    NC_DM_LOG_ERROR("This path may be already register: %s, status: %d\n", leaf->dm_path, status);
    return 1;
  }
  NC_DM_LOG_INFO("The count of node which the register path match to tree:%d\n", path->match_cnt);
  // A wide node is only warned of: the application has that much data.
  if (last_node != nullptr) nc_dm_agent_check_width(last_node);
  leaf->node_type = NC_DM_NODE_TYPE_LEAF;
  return nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, path, last_node, leaf);
}

}  // namespace

namespace nc {

bool IsRegistrablePath(const char* dm_name) {
  if (dm_name == nullptr) return Refuse(false, "Input parameter dm_name is invalid!\n");
  return FitsPath(dm_name) || Refuse(false, "Invalid dm_name length!\n");
}

int RegisterLeaf(nc_dm_agent_node_t* leaf, Numbers numbers) {
  if (!IsRegistrablePath(leaf->dm_path)) return -1;
  NC_DM_LOG_INFO("Register path:%s\n", leaf->dm_path);
  if (!IsTreeInitialized()) return -1;
  nc_dm_path_nodes_t path = {};
  const int result = Insert(leaf, &path, numbers);
  if (result < 0) NC_DM_LOG_ERROR("Client local dm register unsuccessfully!\n");
  return result;
}

int AnnouncePath(char* path, nc_int32 attr) {
  nc_dm_stub_reg_t record = {};
  record.type = NC_DM_MSG_TYPE_REG;
  record.attr = attr;
  record.name = path;
  if (nc_dm_agent_reg_server(&record) != 0) {
    return Refuse("Failed to register data mode to server!\n");
  }
  RetrySchedulingFromCall();
  return 0;
}

}  // namespace nc

int nc_dm_agent_reg_in(nc_dm_agent_node_t* dm_reg, nc_dm_path_nodes_t* p_path_nodes) {
  return Insert(dm_reg, p_path_nodes, nc::Numbers::kInstanceIds);
}

int nc_dm_agent_path_reg(char* dm_name, nc_dm_val_type_t val_type, int flag, int index,
                         nc_dm_set_fn set, nc_dm_get_fn get, nc_dm_create_fn create,
                         nc_dm_delete_fn delete_fn, nc_dm_get_attr_fn get_attr,
                         int (* /*reserved*/)(void), nc_dm_exe_cmd_fn exe_cmd) {
  nc_dm_agent_node_t leaf = {};
  leaf.dm_path = dm_name;
  leaf.val_type = val_type;
  leaf.flag = flag;
  leaf.index = index;
  leaf.set = set;
  leaf.get = get;
  leaf.create = create;
  leaf.delete_ = delete_fn;
  leaf.get_attr = get_attr;
  leaf.exe_cmd = exe_cmd;
  return nc::RegisterLeaf(&leaf, nc::Numbers::kInstanceIds);
}

int nc_dm_agent_mode_reg(char* dm_name, nc_dm_val_type_t val_type, int flag, int index,
                         nc_dm_set_fn set, nc_dm_get_fn get, nc_dm_create_fn create,
                         nc_dm_delete_fn delete_fn, nc_dm_get_attr_fn get_attr,
                         int (*reserved)(void), nc_dm_exe_cmd_fn exe_cmd) {
  if (dm_name == nullptr) return nc::Refuse("Input parameter dm_name is invalid.\n");
  if (!FitsPath(dm_name)) return nc::Refuse("Invalid dm_name length.\n");
  NC_DM_LOG_INFO("Register path:%s\n", dm_name);
  if (!nc::IsClientInitialized() || !nc::IsTreeInitialized()) return -1;
  if (nc_dm_agent_path_reg(dm_name, val_type, flag, index, set, get, create, delete_fn, get_attr,
                           reserved, exe_cmd) < 0) {
    return nc::Refuse("Failed to register data mode path!\n");
  }
  // Also when it was registered before: the server may have forgotten it.
  return nc::AnnouncePath(dm_name, flag | (index != 0 ? NC_DM_REG_ATTR_INDEX : 0));
}
