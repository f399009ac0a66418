// Leaving the server: what the start and the connection need of it.
#ifndef NETCONF_DM_AGENT_LEAVE_H_
#define NETCONF_DM_AGENT_LEAVE_H_

namespace nc {

// Removes every node and every YANG attribute from the tree, which the caller holds.
void EmptyTree();

// Forgets the requests to leave. The connection is closed, so that none is answered any more.
void ForgetLeaveRequests();

}  // namespace nc

#endif  // NETCONF_DM_AGENT_LEAVE_H_
