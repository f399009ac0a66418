// The registration task, as the connection sees it.
#ifndef NETCONF_DM_AGENT_REGISTRATION_TASK_H_
#define NETCONF_DM_AGENT_REGISTRATION_TASK_H_

namespace nc {

// The connection is going to be closed: a registration task that waits for its socket goes on by
// time.
void ResumeRegistrations();

}  // namespace nc

#endif  // NETCONF_DM_AGENT_REGISTRATION_TASK_H_
