// Hash tables of instances: the part that writes nothing to the log.
#ifndef NETCONF_DM_KERNEL_INSTANCES_INSTANCE_HASH_H_
#define NETCONF_DM_KERNEL_INSTANCES_INSTANCE_HASH_H_

#include "netconf_dm_kernel/indexes.h"

namespace nc {

// The buckets come with the first instance, so that the copies of a list that stay empty cost
// little. False when memory is short, or the table's size is impossible.
bool EnsureBuckets(nc_dm_hash_tab_t* hash_tab);

// The instance of an id; null when there is none, also for a null table.
nc_dm_agent_node_t* FindInHashTable(const nc_dm_hash_tab_t* hash_tab, nc_int64 instid);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_INSTANCES_INSTANCE_HASH_H_
