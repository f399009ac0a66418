// What the segments of a request have brought until the message comes that executes it.
#ifndef NETCONF_DM_AGENT_COLLECTED_REQUESTS_H_
#define NETCONF_DM_AGENT_COLLECTED_REQUESTS_H_

#include "netconf_dm_kernel.h"

namespace nc {

void ReleaseEdits();
void ReleaseFilters();

// Collects the filters of a FILTER or GETID segment; on failure all that was collected goes. 0, or
// -1 with `fault` filled.
int CollectFilters(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_COLLECTED_REQUESTS_H_
