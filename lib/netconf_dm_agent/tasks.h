// The library's tasks: what cannot be scheduled is owed, and tried again.
#ifndef NETCONF_DM_AGENT_TASKS_H_
#define NETCONF_DM_AGENT_TASKS_H_

#include "netconf_dm_inter.h"

namespace nc {

// The kind behind the events: the watch over a server that takes nothing. Each second.
inline constexpr nc_dm_event_t kWatchTask = NC_DM_EVENT_MAX;
void ScheduleWatch();

// Unschedules the task of a kind, and owes none.
void CancelTask(nc_dm_event_t kind);

// True if a task of the kind is scheduled or owed.
bool IsTaskDue(nc_dm_event_t kind);

// Schedules what is owed, as far as that succeeds now.
void RetryScheduling();

// The same from a registration call, which may come from any thread: only the event loop's own may
// schedule.
void RetrySchedulingFromCall();

// Stands at the head of each task function: whatever the task could not schedule, or an earlier
// one, is tried again at its end.
class [[nodiscard]] RetryAtEnd {
 public:
  RetryAtEnd() = default;
  ~RetryAtEnd() { RetryScheduling(); }
  RetryAtEnd(const RetryAtEnd&) = delete;
  RetryAtEnd& operator=(const RetryAtEnd&) = delete;
};

}  // namespace nc

#endif  // NETCONF_DM_AGENT_TASKS_H_
