// Instances that the application announces and takes back. They wait in the queue with the
// announcements of the schema and are applied to the tree on the event thread, in order.

#include <algorithm>
#include <utility>

#include "netconf_dm_agent/submit.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/pending_record.h"
#include "netconf_dm_kernel/tree/node_kind.h"
#include "netconf_dm_kernel/tree/node_source.h"
#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/mutex_lock.h"
#include "netconf_dm_util/refuse.h"

namespace {

nc::PendingPtr NewInstance(char* path, nc_dm_node_src_t src) {
  nc::PendingPtr record(nc_dm_agent_crt_reg_path(path, NC_DM_MSG_TYPE_REG_OBJ, src));
  if (record == nullptr) return nc::Refuse(nullptr, "Failed to create reg_path!\n");
  return record;
}

bool HasNegativeId(const nc_dm_path_nodes_t& path) {
  return std::any_of(path.instances, path.instances + path.total_node,
                     [](nc_int64 id) { return id < 0; });
}

nc_dm_agent_node_t* CreateInstance(nc_dm_agent_node_t* parent, nc_dm_agent_node_t* mode,
                                   nc_int64 instid, nc_dm_node_src_t src) {
  nc_dm_agent_node_t* instance =
      nc_dm_agent_create_node(parent, mode, instid, nc::InstanceTypeOf(*mode), src);
  if (instance == nullptr) {
    NC_DM_LOG_ERROR("Failed to create node: %s, id: %lld!\n", mode->node_name,
                    nc::LongLong(instid));
  }
  return instance;
}

// Goes one component down from `node`; where the component addresses an entry, that is created. The
// node reached, or null.
nc_dm_agent_node_t* Descend(nc_dm_agent_node_t* node, char* name, nc_int64 instid,
                            nc_dm_node_src_t src) {
  nc_dm_agent_node_t* schema = nc_dm_agent_search_mode_node(node, name);
  if (schema == nullptr) return nc::Refuse(nullptr, "Failed to find the mode node!\n");
  switch (schema->node_type) {
    case NC_DM_NODE_TYPE_SINGLE_OBJECT:
      NC_DM_LOG_INFO("Found a single object node: %s\n", name);
      break;
    case NC_DM_NODE_TYPE_LEAF:
      NC_DM_LOG_INFO("Found a single leaf node: %s\n", name);
      break;
    default:
      return CreateInstance(node, schema, instid, src);
  }
  nc::StampSource(schema, src, nc::Stamper::kEntry);
  return schema;
}

int CreateAlong(nc_dm_path_nodes_t* path, nc_dm_node_src_t src) {
  const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
  nc_dm_agent_node_t* node = nullptr;
  const nc_dm_agent_match_status_t status =
      nc_dm_agent_match(&g_nc_agent_dm.dm_root, path, &node, NC_DM_MATCH_INSTANCE);
  if (status != NC_DM_CLIENT_MATCH_STATUS_LEAF && status != NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF &&
      status != NC_DM_CLIENT_MATCH_STATUS_OBJECT) {
    return nc::Refuse("The dm'tree don't have this instance path!\n");
  }
  nc::StampSource(node, src, nc::Stamper::kEntry);
  for (nc_int32 i = path->match_cnt; i < path->total_node; ++i) {
    node = Descend(node, path->nodes[i], path->instances[i], src);
    if (node == nullptr) return -1;
  }
  return 0;
}

int RemoveAt(nc_dm_path_nodes_t* path) {
  const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
  nc_dm_agent_node_t* node = nullptr;
  const nc_dm_agent_match_status_t status =
      nc_dm_agent_match(&g_nc_agent_dm.dm_root, path, &node, NC_DM_MATCH_INSTANCE);
  if (status == NC_DM_CLIENT_MATCH_STATUS_NO_EXIST || node == nullptr) {
    return nc::Refuse("The dm'tree don't have this path!\n");
  }
  if (path->match_cnt != path->total_node) {
    return nc::Refuse("The path can't be completely matched!\n");
  }
  nc_dm_agent_unreg_nodes(node);
  return 0;
}

}  // namespace

nc_dm_stub_reg_t* nc_dm_agent_crt_reg_path(char* path, nc_dm_msg_type_t type,
                                           nc_dm_node_src_t src) {
  if (path == nullptr) return nc::Refuse(nullptr, "Input parameter path is null!\n");
  NC_DM_LOG_INFO("Create the reg_path[%s].\n", path);
  if (!nc::IsClientInitialized()) return nullptr;
  nc::PendingPtr record = nc::NewNamedPending(type, path);
  if (record != nullptr) record->src = src;
  return record.release();
}

int nc_dm_agent_reg(char* path) {
  nc::PendingPtr record = NewInstance(path, NC_DM_NODE_SRC_NONE);
  if (record == nullptr) return -1;
  NC_DM_LOG_INFO("Add path[%s] to register list.\n", path);
  nc::Submit(std::move(record));
  return 0;
}

int nc_dm_agent_cli_reg(char* path, nc_dm_node_src_t src) {
  nc::PendingPtr record = NewInstance(path, src);
  if (record == nullptr) return -1;
  NC_DM_LOG_INFO("Add path[%s] to cli register list.\n", path);
  nc::Submit(std::move(record));
  return 0;
}

int nc_dm_agent_unreg(char* path) {
  if (path == nullptr) return nc::Refuse("Input parameter path is null!\n");
  NC_DM_LOG_INFO("Add path[%s] to unregister list.\n", path);
  if (!nc::IsClientInitialized()) return -1;
  nc::PendingPtr record = nc::NewNamedPending(NC_DM_MSG_TYPE_UNREG_OBJ, path);
  if (record == nullptr) return -1;
  nc::Submit(std::move(record));
  return 0;
}

int nc_dm_agent_reg_obj_in(nc_dm_stub_reg_t* reg_node) {
  if (reg_node == nullptr) return nc::Refuse("Input parameter is null!\n");
  NC_DM_LOG_INFO("Register dm path:%s\n", reg_node->name);
  if (!nc::IsClientInitialized() || !nc::IsTreeInitialized()) return -1;
  nc_dm_path_nodes_t path = {};
  const int parsed = nc_dm_parse(reg_node->name, &path, true);
  if (parsed != 0) return parsed;
  if (HasNegativeId(path)) {
    return nc::Refuse("The path nodes contain an invalid instance number!\n");
  }
  return CreateAlong(&path, reg_node->src);
}

int nc_dm_agent_unreg_obj_in(nc_dm_stub_reg_t* reg_node) {
  if (reg_node == nullptr) return nc::Refuse("Input parameter is null!\n");
  NC_DM_LOG_INFO("Unregister dm path:%s\n", reg_node->name);
  if (!nc::IsClientInitialized() || !nc::IsTreeInitialized()) return -1;
  nc_dm_path_nodes_t path = {};
  const int parsed = nc_dm_parse(reg_node->name, &path, true);
  if (parsed != 0) return parsed;
  const int result = RemoveAt(&path);
  if (result == 0) NC_DM_LOG_INFO("Unregister local dm successfully!\n");
  return result;
}
