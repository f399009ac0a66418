// The library's tasks on the application's event loop, one of each kind at most.

#include "netconf_dm_agent/tasks.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>

#include "netconf_dm_agent/link_watch.h"
#include "netconf_dm_agent/pending_answer.h"
#include "netconf_dm_inter.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/enum_number.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

nc_dm_thread_manage_t g_nc_dm_agent_manage;

namespace {

using Request = nc_dm_task_request_t;

constexpr long kReconnectSeconds = 1;
constexpr long kWatchSeconds = 1;
constexpr nc_int32 kKindCount = NC_DM_EVENT_MAX + 1;

struct TaskKind {
  zu_thread* nc_dm_thread_manage_t::*handle;  // null: a kind that has no task
  zu_thread* (*add)(const TaskKind& kind, const Request& request);
  zu_thread_func function;
  const char* name;
  const char* failure;
  void (*give_up)();  // null: a failure is tried again
};

zu_thread_master* Master() { return g_nc_dm_agent_manage.master; }

zu_thread* AddEvent(const TaskKind& kind, const Request& request) {
  return zu_thread_add_event_withname(Master(), kind.function, nullptr, request.socket, kind.name);
}

zu_thread* AddEventWithoutValue(const TaskKind& kind, const Request&) {
  return zu_thread_add_event_withname(Master(), kind.function, nullptr, 0, kind.name);
}

zu_thread* AddReconnectTimer(const TaskKind& kind, const Request&) {
  return zu_thread_add_timer_withname(Master(), kind.function, nullptr, kReconnectSeconds,
                                      kind.name);
}

zu_thread* AddTimer(const TaskKind& kind, const Request& request) {
  if (request.usec == 0) return zu_thread_add_timer(Master(), kind.function, nullptr, request.sec);
  const timeval delay = {request.sec, static_cast<suseconds_t>(request.usec)};
  return zu_thread_add_timer_timeval(Master(), kind.function, nullptr, &delay);
}

zu_thread* AddRead(const TaskKind& kind, const Request& request) {
  return zu_thread_add_read_withname(Master(), kind.function, nullptr, request.socket, kind.name);
}

zu_thread* AddWrite(const TaskKind& kind, const Request& request) {
  return zu_thread_add_write(Master(), kind.function, nullptr, request.socket);
}

void DropValues() { nc::ReleaseAnswer(nc::AnswerKind::kValues); }
void DropIdArrays() { nc::ReleaseAnswer(nc::AnswerKind::kIdArrays); }

constexpr const char* kUnknownEvent = "Unknow event type!\n";
constexpr const char* kRegFailure = "Failed to add zu-thread for register(or unregister)!\n";

// In the order of nc_dm_event_t; the watch behind them.
constexpr TaskKind kKinds[] = {
    {&nc_dm_thread_manage_t::tt_connect, AddEvent, nc_dm_agent_connect, "tt-conn",
     "Failed to add zu-thread for connection!\n", nullptr},
    {&nc_dm_thread_manage_t::tt_reconnect, AddReconnectTimer, nc_dm_agent_reconnect, "tt-reconn",
     "Failed to add zu-thread for reconnection!\n", nullptr},
    {&nc_dm_thread_manage_t::tt_read, AddRead, nc_dm_agent_read, "tt-read",
     "Failed to add zu-thread for read!\n", nullptr},
    {&nc_dm_thread_manage_t::tt_fltrsp, AddWrite, nc_dm_agent_send_filter_rsp_lst, nullptr,
     "Failed to add zu-thread for filter response write!\n", DropValues},
    {&nc_dm_thread_manage_t::tt_idrsp, AddWrite, nc_dm_agent_send_getid_rsp_lst, nullptr,
     "Failed to add zu-thread for getid response write!\n", DropIdArrays},
    {nullptr, nullptr, nullptr, nullptr, "Nosupport notify event!\n", nullptr},
    {&nc_dm_thread_manage_t::tt_reg, AddTimer, nc_dm_agent_reg_handler, nullptr, kRegFailure,
     nullptr},
    {nullptr, nullptr, nullptr, nullptr, kUnknownEvent, nullptr},
    {&nc_dm_thread_manage_t::tt_unreg_client, AddEventWithoutValue, nc_dm_agent_unreg_client,
     "tt-unreg-client", "Failed to add zu-thread for unregister client!\n", nullptr},
    {&nc_dm_thread_manage_t::tt_watch, AddTimer, nc::WatchLink, nullptr,
     "Failed to add zu-thread for the watch of the connection!\n", nullptr},
};
static_assert(sizeof(kKinds) / sizeof(kKinds[0]) == kKindCount);

// Written by the event loop alone; a registration call of another thread may ask whether it is 0.
std::atomic_ref<uint32_t> Owed() { return std::atomic_ref(g_nc_dm_agent_manage.owed); }

uint32_t Bit(nc_int32 number) { return uint32_t{1} << number; }

void Owe(nc_int32 number, const Request& request) {
  Owed().fetch_or(Bit(number));
  g_nc_dm_agent_manage.requests[number] = request;
}

void OweNothing(nc_int32 number) { Owed().fetch_and(~Bit(number)); }

void Schedule(nc_int32 number, const Request& request) {
  const TaskKind& kind = kKinds[number];
  zu_thread*& handle = g_nc_dm_agent_manage.*kind.handle;
  if (handle != nullptr) return;
  handle = kind.add(kind, request);
  if (handle != nullptr) return OweNothing(number);
  NC_DM_LOG_ERROR("%s", kind.failure);
  if (kind.give_up != nullptr) return kind.give_up();
  Owe(number, request);
}

bool HasMaster() {
  return Master() != nullptr || nc::Refuse(false, "Input parameter is invalid!\n");
}

}  // namespace

namespace nc {

void ScheduleWatch() { Schedule(kWatchTask, {0, kWatchSeconds, 0}); }

void CancelTask(nc_dm_event_t kind) {
  zu_thread*& handle = g_nc_dm_agent_manage.*kKinds[kind].handle;
  if (handle != nullptr) zu_thread_cancel(handle);
  handle = nullptr;
  OweNothing(kind);
}

bool IsTaskDue(nc_dm_event_t kind) {
  return g_nc_dm_agent_manage.*kKinds[kind].handle != nullptr || (Owed().load() & Bit(kind)) != 0;
}

void RetryScheduling() {
  const uint32_t owed = Owed().load(std::memory_order_relaxed);
  if (owed == 0 || Master() == nullptr) return;
  for (nc_int32 number = 0; number < kKindCount; ++number) {
    if ((owed & Bit(number)) != 0) Schedule(number, g_nc_dm_agent_manage.requests[number]);
  }
}

void RetrySchedulingFromCall() {
  if (Owed().load(std::memory_order_relaxed) == 0) return;
  if (static_cast<pid_t>(syscall(SYS_gettid)) == g_nc_dm_mng_info.agent_pid) RetryScheduling();
}

}  // namespace nc

void nc_dm_agent_handle_event(nc_dm_event_t event, int32_t socket, int time) {
  if (!HasMaster()) return;
  const nc_int32 number = nc::EnumNumber(event);
  if (number < 0 || number >= NC_DM_EVENT_MAX) {
    NC_DM_LOG_ERROR("%s", kUnknownEvent);
    return;
  }
  if (kKinds[number].handle == nullptr) {
    NC_DM_LOG_ERROR("%s", kKinds[number].failure);
    return;
  }
  Schedule(number, {socket, time, 0});
}

void nc_dm_agent_handle_timer(nc_dm_event_t event, long sec, long usec) {
  if (!HasMaster()) return;
  if (nc::EnumNumber(event) != NC_DM_EVENT_REG) {
    NC_DM_LOG_ERROR("%s", kUnknownEvent);
    return;
  }
  zu_thread*& handle = g_nc_dm_agent_manage.tt_reg;
  if (handle != nullptr) return;
  const timeval delay = {sec, static_cast<suseconds_t>(usec)};
  handle = zu_thread_add_timer_timeval(Master(), nc_dm_agent_reg_handler, nullptr, &delay);
  if (handle != nullptr) return OweNothing(NC_DM_EVENT_REG);
  NC_DM_LOG_ERROR("%s", kRegFailure);
  Owe(NC_DM_EVENT_REG, {0, sec, usec});
}
