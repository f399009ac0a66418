// The library's tasks. One that cannot be scheduled is owed: it is tried again later.
#ifndef NETCONF_DM_AGENT_TASKS_H_
#define NETCONF_DM_AGENT_TASKS_H_

#include "netconf_dm_inter.h"

namespace nc {

// The watch over a server that takes nothing (link_watch.h). It is a kind of task like the events,
// with the number behind the last of them.
inline constexpr nc_dm_event_t kWatchTask = NC_DM_EVENT_MAX;
// Schedules the watch for a second from now.
void ScheduleWatch();

// Unschedules the task of a kind, which is not owed any more either.
void CancelTask(nc_dm_event_t kind);

// True if a task of the kind is scheduled or owed.
bool IsTaskDue(nc_dm_event_t kind);

// Schedules what is owed, as far as that succeeds now.
void RetryScheduling();

// The same from a registration call, which may come from any thread: only the event loop's own may
// schedule.
void RetrySchedulingFromCall();

// Stands at the head of each task function: what this task or an earlier one could not schedule is
// tried again at its end.
class [[nodiscard]] RetryAtEnd {
 public:
  RetryAtEnd() = default;
  ~RetryAtEnd() { RetryScheduling(); }
  RetryAtEnd(const RetryAtEnd&) = delete;
  RetryAtEnd& operator=(const RetryAtEnd&) = delete;
};

}  // namespace nc

#endif  // NETCONF_DM_AGENT_TASKS_H_
