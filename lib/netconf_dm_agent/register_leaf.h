// The registration of a leaf: what the calls that register one share.
#ifndef NETCONF_DM_AGENT_REGISTER_LEAF_H_
#define NETCONF_DM_AGENT_REGISTER_LEAF_H_

#include "netconf_dm_kernel.h"

namespace nc {

// The meaning of a number in a schema path.
enum class Numbers {
  kInstanceIds,  // the id of the entry that the component before it names
  kRefused,      // an error: in a path that was written with ranges a number means nothing
};

// True if a path can be registered by its length; otherwise that is logged.
bool IsRegistrablePath(const char* dm_name);

// Inserts a leaf, whose path, flags and callbacks stand in `leaf`: 0 for a new one, 1 when it was
// there, negative on failure.
int RegisterLeaf(nc_dm_agent_node_t* leaf, Numbers numbers);

// Queues the announcement of a path to the server. 0, or -1.
int AnnouncePath(char* path, nc_int32 attr);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_REGISTER_LEAF_H_
