// The elements of a request that its segments have brought, until the message comes that executes
// it.
//
// A list holds at most 65,536 elements and 16 MiB of heap. The segment that would pass that is
// answered with a FAULT and what was collected is released; the segments behind it are dropped
// unread, and the message that would execute the request is answered with the same FAULT.
#ifndef NETCONF_DM_AGENT_COLLECTED_REQUESTS_H_
#define NETCONF_DM_AGENT_COLLECTED_REQUESTS_H_

#include <cstddef>

#include "netconf_dm_kernel.h"

namespace nc {

inline constexpr size_t kMaxCollectedElements = 65536;
inline constexpr size_t kMaxCollectedHeap = size_t{16} << 20;

void ReleaseEdits();
void ReleaseFilters();

// Collect the entries of an EDIT segment, and of a FILTER or GETID segment. On failure all that was
// collected goes. 0, or negative with `fault` filled.
int CollectEdits(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
int CollectFilters(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);

// Collects the one filter of a message that is executed at once. 0, or negative with `fault`
// filled.
int CollectSingleFilter(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);

// For the message that executes a request: 0, or -1 with `fault` filled when a segment of it was
// refused, which the message ends.
int CheckEditsComplete(nc_dm_fault_t* fault);
int CheckFiltersComplete(nc_dm_fault_t* fault);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_COLLECTED_REQUESTS_H_
