// Before an edit: the instances that its path goes through, and that the application never
// announced.

#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/paths/request_path.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/log.h"

namespace {

using Node = nc_dm_agent_node_t;

bool IsReached(nc_dm_agent_match_status_t status) {
  return status == NC_DM_CLIENT_MATCH_STATUS_LEAF ||
         status == NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF ||
         status == NC_DM_CLIENT_MATCH_STATUS_OBJECT;
}

// What the command line holds for good keeps its source, but for leaves: theirs is who wrote last.
void Stamp(Node* node, nc_dm_node_src_t src) {
  if (node->src == NC_DM_NODE_SRC_CLI_ALW && node->node_type != NC_DM_NODE_TYPE_LEAF) return;
  node->src = src;
}

bool HasIdLeft(const nc_dm_id_array_t& id_array) {
  return id_array.match_cnt < id_array.cnt && id_array.match_cnt < NC_DM_MAX_DEPTH;
}

// The instance of the next id, or null.
Node* CreateInstance(Node* parent, Node* mode, nc_dm_id_array_t* id_array, nc_dm_node_src_t src) {
  const nc_int64 instid = id_array->id[id_array->match_cnt++];
  const nc_dm_node_type_t node_type = mode->node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE
                                          ? NC_DM_NODE_TYPE_MULT_LEAF
                                          : NC_DM_NODE_TYPE_MULT_OBJECT;
  Node* instance = nc_dm_agent_create_node(parent, mode, instid, node_type, src);
  if (instance == nullptr) {
    NC_DM_LOG_ERROR("Failed to create node '%s', instid %lld!\n", mode->node_name,
                    nc::LongLong(instid));
  }
  return instance;
}

// Walks on from `node` along the components that the match did not reach. The deepest node, or
// null.
Node* CreateRest(Node* node, nc_dm_path_nodes_t* path, nc_dm_id_array_t* id_array,
                 nc_dm_node_src_t src) {
  for (int i = path->match_cnt; i < path->total_node; ++i) {
    Node* schema = nc_dm_agent_search_mode_node(node, path->nodes[i]);
    if (schema == nullptr) {
      NC_DM_LOG_ERROR("Failed to find the mode node!\n");
      return nullptr;
    }
    if (nc::IsMode(*schema)) {
      if (!HasIdLeft(*id_array)) {
        NC_DM_LOG_INFO("The id_array->match_cnt is %d, same to cnt, end nodes creation.\n",
                       id_array->match_cnt);
        return node;
      }
      node = CreateInstance(node, schema, id_array, src);
      if (node == nullptr) return nullptr;
      continue;
    }
    if (schema->node_type == NC_DM_NODE_TYPE_LEAF) {
      NC_DM_LOG_INFO("Found a single leaf node '%s'.\n", schema->node_name);
    } else {
      NC_DM_LOG_INFO("Found a single object node '%s'.\n", schema->node_name);
    }
    node = schema;
    Stamp(node, src);
  }
  return node;
}

}  // namespace

nc_dm_agent_node_t* nc_dm_agent_create_nodes_check(char* path, nc_dm_id_array_t* id_array) {
  if (path == nullptr) {
    NC_DM_LOG_ERROR("The path input is null!\n");
    return nullptr;
  }
  if (id_array == nullptr) {
    NC_DM_LOG_ERROR("The id_array input is null!\n");
    return nullptr;
  }
  NC_DM_LOG_INFO("Check the existence of dm path: %s\n", path);
  nc_dm_path_nodes_t path_nodes;
  if (nc::ParseRequestPath(path, &path_nodes) != 0) return nullptr;
  Node* node = nullptr;
  const nc_dm_agent_match_status_t status =
      nc_dm_agent_match_id_arr(&g_nc_agent_dm.dm_root, &path_nodes, &node, id_array, 0);
  if (!IsReached(status)) {
    NC_DM_LOG_ERROR("The dm'tree don't have this instance path!\n");
    return nullptr;
  }
  const nc_dm_node_src_t src = g_nc_dm_mng_info.curr_dstype == NC_DM_DATASTORE_SDN
                                   ? NC_DM_NODE_SRC_SDN
                                   : NC_DM_NODE_SRC_NONE;
  Stamp(node, src);
  return CreateRest(node, &path_nodes, id_array, src);
}
