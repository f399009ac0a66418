// The watch over a server that takes nothing.
//
// Nothing in the library waits for the socket: what does not fit becomes a write task, which runs
// when the server has taken enough. A server that never reads would let it stand for ever, and with
// it all that is queued behind, although another server may wait at the same place. So while a task
// waits for the socket, a second one looks each second whether anything was taken, and after five
// seconds without gives the connection up.

#include "netconf_dm_agent/link_watch.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>

#include "netconf_dm_agent/frame.h"
#include "netconf_dm_agent/registration_task.h"
#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/log.h"

namespace {

constexpr int kPatienceSeconds = 5;

// One look at the connection.
struct Sight {
  int queued;
  unsigned sent;
};
Sight g_last;  // a second ago
int g_idle_seconds = 0;

Sight Look() { return {nc::QueuedBytes(g_nc_dm_mng_info.agent_fd), nc::SentMessages()}; }

// True if the server has taken something between two sights. What was sent in between found room,
// although the queue may be as long as before.
bool HasTaken(const Sight& before, const Sight& now) {
  return now.queued == 0 || now.queued != before.queued || now.sent != before.sent;
}

bool IsAnybodyWaiting() {
  return nc::IsTaskDue(NC_DM_EVENT_FLTRSP_WRITE) || nc::IsTaskDue(NC_DM_EVENT_IDRSP_WRITE) ||
         nc::IsRegistrationWaiting();
}

int GiveUp() {
  NC_DM_LOG_ERROR("The server has taken nothing for %d seconds, the connection is given up.\n",
                  kPatienceSeconds);
  nc::ResumeRegistrations();
  nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
  return nc::kLinkBroken;
}

}  // namespace

namespace nc {

int QueuedBytes(int fd) {
  int queued = 0;
  return ioctl(fd, SIOCOUTQ, &queued) == 0 ? queued : -1;
}

void WatchWaitingTasks() {
  if (!IsAnybodyWaiting() || IsTaskDue(kWatchTask)) return;
  g_last = Look();
  if (g_last.queued <= 0) return;
  g_idle_seconds = 0;
  ScheduleWatch();
}

int WatchLink(zu_thread* /*t*/) {
  const RetryAtEnd retry;
  g_nc_dm_agent_manage.tt_watch = nullptr;
  if (!IsAnybodyWaiting()) return 0;
  const Sight now = Look();
  g_idle_seconds = HasTaken(g_last, now) ? 0 : g_idle_seconds + 1;
  g_last = now;
  if (g_idle_seconds == kPatienceSeconds) return GiveUp();
  ScheduleWatch();
  return 0;
}

}  // namespace nc
