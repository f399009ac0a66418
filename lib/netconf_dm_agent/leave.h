// What leaving takes, for the start and the connection.
#ifndef NETCONF_DM_AGENT_LEAVE_H_
#define NETCONF_DM_AGENT_LEAVE_H_

namespace nc {

// Removes every node and every YANG attribute from the tree, which the caller holds.
void EmptyTree();

// The connection is closed: what was asked on it is not answered any more.
void ForgetLeaveRequests();

}  // namespace nc

#endif  // NETCONF_DM_AGENT_LEAVE_H_
