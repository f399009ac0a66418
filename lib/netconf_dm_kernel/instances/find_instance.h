// An instance by its id.
#ifndef NETCONF_DM_KERNEL_INSTANCES_FIND_INSTANCE_H_
#define NETCONF_DM_KERNEL_INSTANCES_FIND_INSTANCE_H_

#include <optional>

#include "netconf_dm_kernel/indexes.h"

namespace nc {

// The instance that an entry of an instance tree stands for; null for no entry.
inline nc_dm_agent_node_t* InstanceOf(const nc_dm_bin_tree_node_t* entry) {
  return entry != nullptr ? static_cast<nc_dm_agent_node_t*>(entry->data) : nullptr;
}

// What the index of a list says: its only instance with that id, or null when it has none. Nothing
// where an instance may be missing in the index, or stand beside another of its id: then the list
// has to be walked.
std::optional<nc_dm_agent_node_t*> FindInIndex(const list_head* siblings, const char* name,
                                               nc_int64 instid);

// The first child of a name with that instance id; or null. Schema nodes have id 0. Asks the index
// of the list where that cannot miss one, and walks elsewhere.
nc_dm_agent_node_t* FindInstance(const list_head* siblings, const char* name, nc_int64 instid);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_INSTANCES_FIND_INSTANCE_H_
