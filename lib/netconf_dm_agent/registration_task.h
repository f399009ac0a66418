// The registration task, while it waits for the socket.
#ifndef NETCONF_DM_AGENT_REGISTRATION_TASK_H_
#define NETCONF_DM_AGENT_REGISTRATION_TASK_H_

namespace nc {

// True if the task waits until the server has taken what was sent.
bool IsRegistrationWaiting();

// Has a registration task that waits for the socket run by a timer again, before the socket is
// closed.
void ResumeRegistrations();

}  // namespace nc

#endif  // NETCONF_DM_AGENT_REGISTRATION_TASK_H_
