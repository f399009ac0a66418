// The name index of one sibling list: its children by name, once they are many.
//
// A hash table with open addressing. A slot knows the first and the last child of a name, which end
// the name's chain (name_chain.h), and the parent's instance tree of that name. The names
// themselves belong to the nodes and the trees. An index holds chained nodes alone.
#ifndef NETCONF_DM_KERNEL_SHORTCUTS_NAME_INDEX_H_
#define NETCONF_DM_KERNEL_SHORTCUTS_NAME_INDEX_H_

#include <cstddef>
#include <cstdint>

#include "netconf_dm_kernel/indexes.h"

namespace nc {

struct NameSlot {
  uint32_t hash;
  uint32_t originals;  // children of the name that are no instances copied from a mode node
  nc_dm_agent_node_t* first;
  nc_dm_agent_node_t* last;
  nc_dm_bin_tree_t* tree;

  // Null: the slot is free.
  const char* Name() const {
    if (first != nullptr) return first->node_name;
    return tree != nullptr ? tree->name : nullptr;
  }
};

}  // namespace nc

struct nc_dm_name_index {
  const list_head* last_tree;  // of the parent's list of instance trees when it was read last
  size_t children;
  size_t used;      // slots
  size_t capacity;  // a power of two, at least twice `used`
  nc::NameSlot slots[];
};

namespace nc {

nc_dm_name_index* NewNameIndex();

// The slot of a name, or null.
NameSlot* FindSlot(nc_dm_name_index* index, const char* name);

// Enter the last child of its name, which is chained already; and an instance tree. The index may
// move. False when memory is short.
bool EnterChild(nc_dm_name_index** index, nc_dm_agent_node_t* node);
bool EnterTree(nc_dm_name_index** index, nc_dm_bin_tree_t* tree);

// Takes a child out, before it leaves its chain. False if it was not in the index.
bool LeaveChild(nc_dm_name_index* index, const nc_dm_agent_node_t& node);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_SHORTCUTS_NAME_INDEX_H_
