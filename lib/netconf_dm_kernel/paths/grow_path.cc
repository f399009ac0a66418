// Before an edit: the instances that its path goes through, and that the application never
// announced.

#include "netconf_dm_kernel/paths/grow_path.h"

#include "netconf_dm_kernel/matching.h"
#include "netconf_dm_kernel/paths/request_path.h"
#include "netconf_dm_kernel/tree/node_kind.h"
#include "netconf_dm_kernel/tree/node_source.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

using Node = nc_dm_agent_node_t;

bool IsReached(nc_dm_agent_match_status_t status) {
  return status == NC_DM_CLIENT_MATCH_STATUS_LEAF ||
         status == NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF ||
         status == NC_DM_CLIENT_MATCH_STATUS_OBJECT;
}

bool HasIdLeft(const nc_dm_id_array_t& id_array) {
  return id_array.match_cnt < id_array.cnt && id_array.match_cnt < NC_DM_MAX_DEPTH;
}

// The instance of the next id, or null.
Node* CreateInstance(Node* parent, Node* mode, nc_dm_id_array_t* id_array, nc_dm_node_src_t src) {
  const nc_int64 instid = id_array->id[id_array->match_cnt++];
  Node* instance = nc_dm_agent_create_node(parent, mode, instid, nc::InstanceTypeOf(*mode), src);
  if (instance == nullptr) {
    NC_DM_LOG_ERROR("Failed to create node '%s', instid %lld!\n", mode->node_name,
                    nc::LongLong(instid));
  }
  return instance;
}

// Walks on from `node` along the components that the match did not reach. The deepest node, or
// null.
Node* CreateRest(Node* node, nc_dm_path_nodes_t* path, nc_dm_id_array_t* id_array,
                 nc_dm_node_src_t src, Node** first_made) {
  for (int i = path->match_cnt; i < path->total_node; ++i) {
    Node* schema = nc_dm_agent_search_mode_node(node, path->nodes[i]);
    if (schema == nullptr) return nc::Refuse(nullptr, "Failed to find the mode node!\n");
    if (nc::IsMode(*schema)) {
      if (!HasIdLeft(*id_array)) {
        NC_DM_LOG_INFO("The id_array->match_cnt is %d, same to cnt, end nodes creation.\n",
                       id_array->match_cnt);
        return node;
      }
      node = CreateInstance(node, schema, id_array, src);
      if (node == nullptr) return nullptr;
      if (*first_made == nullptr) *first_made = node;
      continue;
    }
    if (schema->node_type == NC_DM_NODE_TYPE_LEAF) {
      NC_DM_LOG_INFO("Found a single leaf node '%s'.\n", schema->node_name);
    } else {
      NC_DM_LOG_INFO("Found a single object node '%s'.\n", schema->node_name);
    }
    node = schema;
    nc::StampSource(node, src, nc::Stamper::kPathEdit);
  }
  return node;
}

}  // namespace

nc_dm_agent_node_t* nc::GrowPath(char* path, nc_dm_id_array_t* id_array,
                                 nc_dm_agent_node_t** first_made) {
  if (path == nullptr) return Refuse(nullptr, "The path input is null!\n");
  if (id_array == nullptr) return Refuse(nullptr, "The id_array input is null!\n");
  NC_DM_LOG_INFO("Check the existence of dm path: %s\n", path);
  nc_dm_path_nodes_t path_nodes;
  if (ParseRequestPath(path, &path_nodes) != 0) return nullptr;
  Node* node = nullptr;
  const nc_dm_agent_match_status_t status =
      nc_dm_agent_match_id_arr(&g_nc_agent_dm.dm_root, &path_nodes, &node, id_array, 0);
  if (!IsReached(status)) {
    return Refuse(nullptr, "The dm'tree don't have this instance path!\n");
  }
  const nc_dm_node_src_t src = RequestSource();
  StampSource(node, src, Stamper::kPathEdit);
  return CreateRest(node, &path_nodes, id_array, src, first_made);
}

nc_dm_agent_node_t* nc_dm_agent_create_nodes_check(char* path, nc_dm_id_array_t* id_array) {
  Node* first_made = nullptr;
  return nc::GrowPath(path, id_array, &first_made);
}
