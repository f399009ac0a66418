// The index of a list's instances by id, whichever it is: the hash table of the mode node, or the
// parent's instance tree.
//
// Every instance that the library makes is entered when its list has an index, also one that was
// registered by its number. An application's nodes are not: they may go without a word.
#ifndef NETCONF_DM_KERNEL_INSTANCES_INSTANCE_INDEX_H_
#define NETCONF_DM_KERNEL_INSTANCES_INSTANCE_INDEX_H_

#include "netconf_dm_kernel/indexes.h"

namespace nc {

// Enters a linked instance that was copied from a mode node. False, and the instance is gone, when
// that fails.
bool IndexCopy(nc_dm_agent_node_t* node, nc_dm_agent_node_t* mode);

// Enters a linked instance that was registered by its number, if its list has an index by now.
// False when that fails; the instance stays.
bool IndexNumbered(nc_dm_agent_node_t* node);

// Makes `mode`, a linked child of a parent, the mode node of the instance tree of its name; enters
// the instances that were registered before it.
void IndexMode(nc_dm_agent_node_t* mode);

// Take an unlinked instance out of its index. `tree`: the parent's instance tree of its name, or
// null. `siblings_go`: its siblings are being removed as well, and with them their hash tables.
void LeaveHashTable(const nc_dm_agent_node_t& node, nc_dm_bin_tree_t* tree, bool siblings_go);
void LeaveInstanceTree(const nc_dm_agent_node_t& node, nc_dm_bin_tree_t* tree);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_INSTANCES_INSTANCE_INDEX_H_
