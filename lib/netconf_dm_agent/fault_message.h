// FAULT, the answer to a request that failed.
#ifndef NETCONF_DM_AGENT_FAULT_MESSAGE_H_
#define NETCONF_DM_AGENT_FAULT_MESSAGE_H_

#include "netconf_dm_kernel.h"

namespace nc {

// Sends a FAULT built in `buf`, the bytes of a SendBuffer. The send's result.
int SendFault(int fd, char* buf, nc_int32 sid, nc_dm_fault_t* fault);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_FAULT_MESSAGE_H_
