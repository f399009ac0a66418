// The last step of a registration call.
#ifndef NETCONF_DM_AGENT_SUBMIT_H_
#define NETCONF_DM_AGENT_SUBMIT_H_

#include <utility>

#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_kernel/registration_queue.h"

namespace nc {

// Hands a record to the registration task, from any thread. If the task could not be scheduled
// before, it is now.
inline void Submit(PendingPtr record) {
  Queue(std::move(record));
  RetrySchedulingFromCall();
}

}  // namespace nc

#endif  // NETCONF_DM_AGENT_SUBMIT_H_
