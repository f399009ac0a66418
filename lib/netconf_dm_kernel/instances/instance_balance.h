// Entering an instance in its list's tree.
#ifndef NETCONF_DM_KERNEL_INSTANCES_INSTANCE_BALANCE_H_
#define NETCONF_DM_KERNEL_INSTANCES_INSTANCE_BALANCE_H_

#include "netconf_dm_kernel.h"

namespace nc {

// Inserts a new entry, which may be the first, and rebalances; sets the tree's root. False when the
// id is there already: then the entry is not in the tree. The cost hardly depends on the number of
// entries.
bool InsertInstance(nc_dm_bin_tree_t* tree, nc_dm_bin_tree_node_t* entry);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_INSTANCES_INSTANCE_BALANCE_H_
