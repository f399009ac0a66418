// The library's tasks on the application's event loop, one of each kind at most.

#include <sys/time.h>

#include "netconf_dm_agent/answer.h"
#include "netconf_dm_inter.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/enum_number.h"
#include "netconf_dm_util/log.h"

nc_dm_thread_manage_t g_nc_dm_agent_manage;

namespace {

constexpr long kReconnectSeconds = 1;

struct TaskKind {
  zu_thread* nc_dm_thread_manage_t::*handle;  // null: a kind that has no task
  zu_thread* (*add)(const TaskKind& kind, int socket, int time);
  zu_thread_func function;
  const char* name;
  const char* failure;
  void (*on_failure)();
};

zu_thread_master* Master() { return g_nc_dm_agent_manage.master; }

zu_thread* AddEvent(const TaskKind& kind, int socket, int /*time*/) {
  return zu_thread_add_event_withname(Master(), kind.function, nullptr, socket, kind.name);
}

zu_thread* AddEventWithoutValue(const TaskKind& kind, int /*socket*/, int /*time*/) {
  return zu_thread_add_event_withname(Master(), kind.function, nullptr, 0, kind.name);
}

zu_thread* AddReconnectTimer(const TaskKind& kind, int /*socket*/, int /*time*/) {
  return zu_thread_add_timer_withname(Master(), kind.function, nullptr, kReconnectSeconds,
                                      kind.name);
}

zu_thread* AddTimer(const TaskKind& kind, int /*socket*/, int time) {
  return zu_thread_add_timer(Master(), kind.function, nullptr, time);
}

zu_thread* AddRead(const TaskKind& kind, int socket, int /*time*/) {
  return zu_thread_add_read_withname(Master(), kind.function, nullptr, socket, kind.name);
}

zu_thread* AddWrite(const TaskKind& kind, int socket, int /*time*/) {
  return zu_thread_add_write(Master(), kind.function, nullptr, socket);
}

void DropValues() { nc::ReleaseAnswer(nc::AnswerKind::kValues); }
void DropIdArrays() { nc::ReleaseAnswer(nc::AnswerKind::kIdArrays); }

constexpr const char* kUnknownEvent = "Unknow event type!\n";
constexpr const char* kRegFailure = "Failed to add zu-thread for register(or unregister)!\n";

// In the order of nc_dm_event_t.
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
};
static_assert(sizeof(kKinds) / sizeof(kKinds[0]) == NC_DM_EVENT_MAX);

bool HasMaster() {
  if (Master() != nullptr) return true;
  NC_DM_LOG_ERROR("Input parameter is invalid!\n");
  return false;
}

}  // namespace

void nc_dm_agent_handle_event(nc_dm_event_t event, int32_t socket, int time) {
  if (!HasMaster()) return;
  const nc_int32 number = nc::EnumNumber(event);
  if (number < 0 || number >= NC_DM_EVENT_MAX) {
    NC_DM_LOG_ERROR("%s", kUnknownEvent);
    return;
  }
  const TaskKind& kind = kKinds[number];
  if (kind.handle == nullptr) {
    NC_DM_LOG_ERROR("%s", kind.failure);
    return;
  }
  zu_thread*& handle = g_nc_dm_agent_manage.*kind.handle;
  if (handle != nullptr) return;
  handle = kind.add(kind, socket, time);
  if (handle != nullptr) return;
  NC_DM_LOG_ERROR("%s", kind.failure);
  if (kind.on_failure != nullptr) kind.on_failure();
}

void nc_dm_agent_handle_timer(nc_dm_event_t event, long sec, long usec) {
  if (!HasMaster()) return;
  if (nc::EnumNumber(event) != NC_DM_EVENT_REG) {
    NC_DM_LOG_ERROR("%s", kUnknownEvent);
    return;
  }
  zu_thread*& handle = g_nc_dm_agent_manage.tt_reg;
  if (handle != nullptr) return;
  const timeval delay = {sec, usec};
  handle = zu_thread_add_timer_timeval(Master(), nc_dm_agent_reg_handler, nullptr, &delay);
  if (handle == nullptr) NC_DM_LOG_ERROR("%s", kRegFailure);
}
