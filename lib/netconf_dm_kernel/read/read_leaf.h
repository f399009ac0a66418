// One leaf, read from the application into a list of results.
#ifndef NETCONF_DM_KERNEL_READ_READ_LEAF_H_
#define NETCONF_DM_KERNEL_READ_READ_LEAF_H_

#include "netconf_dm_kernel/tree.h"
#include "netconf_dm_util/path_text.h"

namespace nc {

// Reads a leaf and appends its value with its path, which is joined when there is a value. 0, also
// for a leaf that the request does not see; otherwise what failed, which is logged.
int ReadLeaf(nc_dm_list_t* list, nc_dm_agent_node_t* leaf, nc_dm_id_array_t* ids,
             const nc_dm_path_nodes_t& path);

// The same with the text of the path, which a walk has written already.
int ReadLeaf(nc_dm_list_t* list, nc_dm_agent_node_t* leaf, nc_dm_id_array_t* ids,
             const PathText& path);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_READ_READ_LEAF_H_
