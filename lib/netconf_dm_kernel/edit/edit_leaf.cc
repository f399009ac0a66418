// A leaf written, directly or by its path, and the comparison of paths that groups the edits of
// siblings.

#include <algorithm>
#include <cstring>

#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

namespace {

bool IsWritable(const nc_dm_agent_node_t* leaf) {
  return leaf->set != nullptr && (leaf->flag & NC_DM_FLAG_KEY) == 0;
}

// 0 also when the application refuses the value: its result is not asked for.
int WriteLeaf(nc_dm_agent_node_t* leaf, char* value) {
  nc_dm_id_array_t ids = {};
  if (nc_dm_get_ids(&ids, leaf) != 0) return nc::Refuse("Failed to get id array!\n");
  nc_dm_agent_set_node_val(leaf, &ids, value);
  return 0;
}

// The number of leading names that two paths have in common.
int CommonNames(const nc_dm_path_nodes_t& a, const nc_dm_path_nodes_t& b) {
  const int end = std::min(a.total_node, b.total_node);
  int i = 0;
  while (i < end && strcmp(a.nodes[i], b.nodes[i]) == 0) ++i;
  return i;
}

}  // namespace

int nc_dm_agent_set_node_val(nc_dm_agent_node_t* curr_node, nc_dm_id_array_t* id_array, char* val) {
  if (curr_node == nullptr || val == nullptr) {
    return nc::Refuse(-3, "Input parameter is invalid!\n");
  }
  NC_DM_LOG_INFO("Set node '%s' values.\n", curr_node->node_name);
  if (curr_node->set == nullptr) {
    NC_DM_LOG_ERROR("Node '%s' has no set-value method!\n", curr_node->node_name);
    return -1;
  }
  char* object = nullptr;
  const int converted = nc_dm_unserialize_val(val, &object, curr_node->val_type);
  const nc::MallocPtr<char> typed(object);
  if (converted != 0) return converted;
  const int result = curr_node->set(id_array, typed.get());
  if (result != 0) NC_DM_LOG_ERROR("Failed to set node value, error = %d!\n", result);
  return result;
}

int nc_dm_agent_edit_update_leaf_val(nc_dm_agent_node_t* node, nc_dm_path_nodes_t* path_nodes,
                                     int offset, char* value) {
  if (node == nullptr || path_nodes == nullptr || offset < 0) {
    return nc::Refuse("Invalid arguments inputs.\n");
  }
  if (offset >= path_nodes->total_node) {
    return nc::Refuse("The offset input is great than or equal to total number of path nodes.\n");
  }
  // All instances on the way are visited; then -1, as if no leaf had been found.
  for (nc_dm_agent_node_t& child : nc::SameNamed(&node->sub_lst, path_nodes->nodes[offset])) {
    if (offset == path_nodes->total_node - 1) {
      if (IsWritable(&child)) return WriteLeaf(&child, value);
      NC_DM_LOG_ERROR("The current node is key node or set value function is null!\n");
    } else if (nc_dm_agent_edit_update_leaf_val(&child, path_nodes, offset + 1, value) != 0) {
      return nc::Refuse("Failed to update leaf value of current node!\n");
    }
  }
  return -1;
}

int nc_dm_agent_edit_update(nc_dm_agent_node_t* parent, nc_dm_path_nodes_t* key_path, char* path,
                            char* value) {
  nc_dm_path_nodes_t leaf_path = {};
  if (nc_dm_parse(path, &leaf_path, false) != 0) return -1;
  const int offset = nc_dm_agent_the_same_ancestors(key_path, &leaf_path);
  if (offset == 0) {
    return nc::Refuse("Not all ancestors of key node are current node's ancestors.\n");
  }
  if (nc_dm_agent_edit_update_leaf_val(parent, &leaf_path, offset, value) != 0) {
    return nc::Refuse("Failed to update leaf value of node.\n");
  }
  return 0;
}

int nc_dm_agent_filter_find_max_cmm_node_index(nc_dm_path_nodes_t* paths, int paths_num) {
  if (paths == nullptr || paths_num < 1) return 0;
  if (paths_num == 1) return paths[0].total_node != 1 ? 1 : 0;

  // Without a difference the answer is 0, not the length: callers ask for paths that differ.
  const int common = CommonNames(paths[0], paths[1]);
  const bool differ = common < std::min(paths[0].total_node, paths[1].total_node);
  int index = differ ? common - 1 : 0;
  for (int k = 2; k < paths_num; ++k) {
    index = std::min(index, CommonNames(paths[1], paths[k]) - 1);
  }
  return index;
}
