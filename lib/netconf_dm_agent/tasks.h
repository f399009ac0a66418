// Handles of the library's tasks.
#ifndef NETCONF_DM_AGENT_TASKS_H_
#define NETCONF_DM_AGENT_TASKS_H_

#include "netconf_dm_inter.h"

namespace nc {

// Unschedules a task, if it is scheduled.
inline void CancelTask(zu_thread*& handle) {
  if (handle == nullptr) return;
  zu_thread_cancel(handle);
  handle = nullptr;
}

}  // namespace nc

#endif  // NETCONF_DM_AGENT_TASKS_H_
