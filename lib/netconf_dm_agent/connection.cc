// The one connection to the server, through every loss and return of the server.

#include "netconf_dm_agent/connection.h"

#include <unistd.h>

#include <span>

#include "netconf_dm_agent/answer.h"
#include "netconf_dm_agent/client_socket.h"
#include "netconf_dm_agent/frame.h"
#include "netconf_dm_agent/leave.h"
#include "netconf_dm_agent/registration_task.h"
#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

// There is no connection before the start, and descriptor 0 is the application's. A constructor
// sets -1: with an initializer the record, whose buffers have five kilobytes, would be stored in
// the library's file.
nc_dm_mng_info_t g_nc_dm_mng_info;

namespace {

__attribute__((constructor)) void HaveNoConnectionYet() { g_nc_dm_mng_info.agent_fd = -1; }

}  // namespace

namespace nc {

int SendClientName() {
  return nc_dm_agent_reg_server_name(g_nc_dm_mng_info.agent_fd,
                                     g_nc_dm_mng_info.agent_restart ? NC_DM_REG_ATTR_RESTART : 0,
                                     g_nc_dm_mng_info.agent_name, &g_nc_agent_dm);
}

void CloseSocket() {
  if (g_nc_dm_mng_info.agent_fd >= 0) close(g_nc_dm_mng_info.agent_fd);
  g_nc_dm_mng_info.agent_fd = -1;
}

}  // namespace nc

namespace {

// The steps behind a reconnection, in order: the server has forgotten all that it was told.
struct Step {
  int (*run)();
  const char* failure;
};
constexpr Step kReconnectSteps[] = {
    {nc::SendClientName, "Client remote dm register unsuccessfully.\n"},
    {nc_dm_agent_re_reg_server, "Agent remote dm register unsuccessfully.\n"},
    {nc_dm_agent_re_reg_yang_attr_server, "Agent remote yang attribute register unsuccessfully.\n"},
    {nc_dm_agent_reg_server_mode_cplt, "Agent notify mode_reg_cplt unsuccessfully.\n"},
};
constexpr auto kConnectSteps = std::span(kReconnectSteps).first<2>();

int ConnectAndRun(std::span<const Step> steps) {
  int result = nc_dm_agent_connect_socket();
  for (const Step& step : steps) {
    if (result != 0) break;
    result = step.run();
    if (result != 0) NC_DM_LOG_ERROR("%s", step.failure);
  }
  if (result != 0) {
    nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
  } else {
    nc_dm_agent_handle_event(NC_DM_EVENT_READ, g_nc_dm_mng_info.agent_fd, 0);
  }
  return result;
}

// The tasks that end with a connection. The registration task goes on.
constexpr nc_dm_event_t kConnectionTasks[] = {
    NC_DM_EVENT_CONNECT,     NC_DM_EVENT_RECONNECT,    NC_DM_EVENT_READ, NC_DM_EVENT_FLTRSP_WRITE,
    NC_DM_EVENT_IDRSP_WRITE, NC_DM_EVENT_UNREG_CLIENT, nc::kWatchTask,
};

}  // namespace

int nc_dm_agent_connect_socket(void) {
  if (g_nc_dm_mng_info.agent_fd >= 1) {
    NC_DM_LOG_INFO("Dm agent connect already.\n");
    return 0;
  }
  g_nc_dm_mng_info.agent_fd = nc_dm_agent_create();
  if (g_nc_dm_mng_info.agent_fd < 0) return nc::Refuse("Failed to create dm client!\n");
  if (nc::ConnectToServer(g_nc_dm_mng_info.agent_fd) != 0) return -1;
  // A request that a lost server has begun must not be finished by this one, and nobody waits for
  // an answer to it.
  nc_dm_agent_op_data_init();
  nc::ReleaseAnswer(nc::AnswerKind::kValues);
  return 0;
}

void nc_dm_agent_clear_connect(void) {
  nc::ResumeRegistrations();
  nc::CloseSocket();
  for (nc_dm_event_t kind : kConnectionTasks) nc::CancelTask(kind);
  nc::ForgetLeaveRequests();
  g_nc_agent_dm.registered = false;
}

int nc_dm_agent_connect(zu_thread* /*t*/) {
  const nc::RetryAtEnd retry;
  NC_DM_LOG_INFO("Dm client connect....\n");
  g_nc_dm_agent_manage.tt_connect = nullptr;
  const int result = ConnectAndRun(kConnectSteps);
  if (result == 0) NC_DM_LOG_INFO("Dm agent connect successfully.\n");
  return result;
}

int nc_dm_agent_reconnect(zu_thread* /*t*/) {
  const nc::RetryAtEnd retry;
  NC_DM_LOG_INFO("Dm agent reconnect...\n");
  g_nc_dm_agent_manage.tt_reconnect = nullptr;
  nc_dm_agent_clear_connect();
  const int result = ConnectAndRun(kReconnectSteps);
  if (result == 0) NC_DM_LOG_INFO("Dm agent reconnect ok.\n");
  return result;
}

int nc_dm_agent_read(zu_thread* t) {
  const nc::RetryAtEnd retry;
  NC_DM_LOG_INFO("Dm client read....\n");
  g_nc_dm_agent_manage.tt_read = nullptr;
  if (t == nullptr) return nc::Refuse("DM client read error!\n\n");
  const int fd = t->value;
  if (nc_dm_agent_recv(fd) == nc::kLinkBroken) {
    nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
  } else {
    nc_dm_agent_handle_event(NC_DM_EVENT_READ, fd, 0);
  }
  NC_DM_LOG_INFO("Dm client read ok.\n");
  return 0;
}
