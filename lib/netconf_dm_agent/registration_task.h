// The registration task, as the connection sees it.
#ifndef NETCONF_DM_AGENT_REGISTRATION_TASK_H_
#define NETCONF_DM_AGENT_REGISTRATION_TASK_H_

namespace nc {

// True if the task waits until the server has taken what was sent.
bool IsRegistrationWaiting();

// The connection is going to be closed: a registration task that waits for its socket goes on by
// time.
void ResumeRegistrations();

}  // namespace nc

#endif  // NETCONF_DM_AGENT_REGISTRATION_TASK_H_
