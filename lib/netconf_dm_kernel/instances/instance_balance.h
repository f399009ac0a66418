// The instance trees that the library keeps: entries come and go, and the tree stays low.
#ifndef NETCONF_DM_KERNEL_INSTANCES_INSTANCE_BALANCE_H_
#define NETCONF_DM_KERNEL_INSTANCES_INSTANCE_BALANCE_H_

#include "netconf_dm_kernel/indexes.h"

namespace nc {

// Enters a new entry, which may be the first, and sets the tree's root. False when the id is there
// already: then the tree stays as it is, and the entry is not in it.
bool InsertInstance(nc_dm_bin_tree_t* tree, nc_dm_bin_tree_node_t* entry);

// Takes an entry out and sets the tree's root; frees nothing. `tree` is null when its record has
// gone before its entries. An entry that is in no tree stays as it is.
void RemoveInstance(nc_dm_bin_tree_t* tree, nc_dm_bin_tree_node_t* entry);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_INSTANCES_INSTANCE_BALANCE_H_
