// Creating the instances that are missing along a path.
#ifndef NETCONF_DM_KERNEL_PATHS_GROW_PATH_H_
#define NETCONF_DM_KERNEL_PATHS_GROW_PATH_H_

#include "netconf_dm_kernel/tree.h"

namespace nc {

// As nc_dm_agent_create_nodes_check; `*first_made` becomes the topmost instance that was created,
// also when the way was made in part, and stays as it is when there was none to create.
nc_dm_agent_node_t* GrowPath(char* path, nc_dm_id_array_t* id_array,
                             nc_dm_agent_node_t** first_made);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_PATHS_GROW_PATH_H_
