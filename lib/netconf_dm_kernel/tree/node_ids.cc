// The ids on the way from the top of the tree to a node.

#include <algorithm>

#include "netconf_dm_kernel/tree.h"
#include "netconf_dm_util/id_span.h"
#include "netconf_dm_util/refuse.h"

int nc_dm_get_ids(nc_dm_id_array_t* id_array, nc_dm_agent_node_t* curr_node) {
  if (curr_node == nullptr) return nc::Refuse("The current node input is null!\n");
  if (id_array == nullptr) return nc::Refuse("Input parameter is invalid!\n");
  for (const nc_dm_agent_node_t* node = curr_node;; node = node->parent) {
    if (node->node_type == NC_DM_NODE_TYPE_MULT_LEAF) nc::AppendId(id_array, node->instid);
    if (node->parent == nullptr) break;
    if (id_array->cnt >= NC_DM_MAX_DEPTH) {
      nc::Refuse("The id_array->cnt is larger than id_array->id buffer size!\n");
      // Only the node that was asked for reports it; above it the ids stay innermost first.
      return node == curr_node ? -1 : 0;
    }
    if (node->parent->instid != 0) nc::AppendId(id_array, node->parent->instid);
  }
  std::ranges::reverse(nc::IdsOf(id_array));
  return 0;
}
