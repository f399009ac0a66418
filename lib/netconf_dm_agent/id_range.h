// Ranges of instance ids, which stand in a path in place of list markers: "{1-3}".
#ifndef NETCONF_DM_AGENT_ID_RANGE_H_
#define NETCONF_DM_AGENT_ID_RANGE_H_

#include "netconf_dm_kernel.h"

namespace nc {

// True if the component is written as a range, "{a-b}", whatever its bounds.
bool HasRangeForm(const char* component);

// True if `cnt` ranges, each in the one before it, give ids that entries can have and at most
// NC_DM_MAX_RANGE_PATHS instance paths; otherwise that is logged.
bool AreFewEnough(const nc_int64 (*ranges)[2], int cnt);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_ID_RANGE_H_
