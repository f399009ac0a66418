// A leaf on its way into the tree, as the registration calls share it.
#ifndef NETCONF_DM_AGENT_REGISTER_LEAF_H_
#define NETCONF_DM_AGENT_REGISTER_LEAF_H_

#include "netconf_dm_kernel.h"

namespace nc {

// What a number in a schema path is.
enum class Numbers {
  kInstanceIds,  // the id of the entry that the component before it names
  kRefused,  // no name: the path was written with ranges, and a number beside them means nothing
};

// Checks the length of a path; an overlong or empty one is logged.
bool IsRegistrablePath(const char* dm_name);

// Inserts a leaf, whose path, flags and callbacks stand in `leaf`: 0 for a new one, 1 when it was
// there, negative on failure.
int RegisterLeaf(nc_dm_agent_node_t* leaf, Numbers numbers);

// Queues the announcement of a path to the server. 0, or -1.
int AnnouncePath(char* path, nc_int32 attr);

// True if the component is written as a range, "{a-b}", whatever its bounds.
bool HasRangeForm(const char* component);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_REGISTER_LEAF_H_
