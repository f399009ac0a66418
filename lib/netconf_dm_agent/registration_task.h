// The registration task, while it waits for the socket.
#ifndef NETCONF_DM_AGENT_REGISTRATION_TASK_H_
#define NETCONF_DM_AGENT_REGISTRATION_TASK_H_

namespace nc {

// True if the task waits until the server has taken what was sent.
bool IsRegistrationWaiting();

// Ends the task's wait for the socket, which is about to be closed: it runs by a timer again.
void ResumeRegistrations();

}  // namespace nc

#endif  // NETCONF_DM_AGENT_REGISTRATION_TASK_H_
