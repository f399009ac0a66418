// The index of one sibling list: what stands there under a name. Only siblings.cc uses it.
//
// A hash table with open addressing. A slot is found by name and knows the first child of that
// name, how many there are, and the parent's instance tree of that name. The names themselves
// belong to the nodes and the trees.
#ifndef NETCONF_DM_KERNEL_SHORTCUTS_NAME_INDEX_H_
#define NETCONF_DM_KERNEL_SHORTCUTS_NAME_INDEX_H_

#include <cstddef>
#include <cstdint>

#include "netconf_dm_kernel.h"

namespace nc {

struct ChildSlot {
  uint32_t hash;   // never 0 in a slot that was used
  uint32_t count;  // children of the name
  nc_dm_agent_node_t* first;
  nc_dm_bin_tree_t* tree;

  const char* Name() const {
    if (first != nullptr) return first->node_name;
    return tree != nullptr ? tree->name : nullptr;
  }
};

}  // namespace nc

struct nc_dm_child_index {
  // The ends of the lists when the index was last brought up to date: who links a node or makes an
  // instance tree without telling the index does so at an end.
  const list_head* first;
  const list_head* last;
  const list_head* last_tree;  // null at the top level, which has no instance trees

  size_t used;      // slots that are or were in use
  size_t capacity;  // a power of two, never full
  nc::ChildSlot slots[];
};

namespace nc {

nc_dm_child_index* NewChildIndex();

// The slot of a name, or null.
ChildSlot* FindSlot(nc_dm_child_index* index, const char* name);

// The slot of a name, a new one if need be, which the caller fills at once. The index may move.
// Null, and the index as it was, when memory is short.
ChildSlot* EnsureSlot(nc_dm_child_index** index, const char* name);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_SHORTCUTS_NAME_INDEX_H_
