// A sibling list and what the library keeps for it.
#ifndef NETCONF_DM_KERNEL_TREE_SIBLING_LIST_H_
#define NETCONF_DM_KERNEL_TREE_SIBLING_LIST_H_

#include <cstdint>

#include "netconf_dm_kernel/tree.h"

namespace nc {

struct SiblingList {
  list_head* head;
  nc_dm_agent_node_t* parent;  // null: the top level, or a list that is no node's

  // The places of its index and of the flag that it is walked. Null for a list that has no
  // shortcuts: one that is no node's, or the children of a node that an application made.
  nc_dm_name_index** index;
  uint8_t* is_walked;
};

SiblingList RootList();
SiblingList ChildrenOf(const nc_dm_agent_node_t* parent);

// Of any list of nodes.
SiblingList ListOf(const list_head* siblings);

// The list that a node was appended to.
SiblingList ListAround(const nc_dm_agent_node_t& node);

// Frees the index of the top level, and forgets what was met there.
void ResetRootList();

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_TREE_SIBLING_LIST_H_
