// The library's start within the application.

#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>

#include "netconf_dm_agent/answer.h"
#include "netconf_dm_agent/client_socket.h"
#include "netconf_dm_agent/connection.h"
#include "netconf_dm_agent/leave.h"
#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/registration_queue.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/mutex_lock.h"
#include "netconf_dm_util/refuse.h"

namespace {

constexpr int kRegSeconds = 1;

int CheckClientName(const char* name) {
  const size_t len = strnlen(name, NC_DM_MAX_NAME_LEN + 1);
  if (len > NC_DM_MAX_NAME_LEN) return nc::Refuse("The length of client's name is too long!\n");
  if (len == 0) return nc::Refuse("The client's name can't be empty!\n");
  // The name becomes a part of the socket's path and must not lead out of the clients' directory.
  if (strchr(name, '/') != nullptr) {
    return nc::Refuse("The client's name must not contain '/'!\n");
  }
  return 0;
}

int InitState(const char* name, zu_thread_master* master, int (*dm_reg_rsp)(void)) {
  memset(&g_nc_dm_mng_info, 0, sizeof(g_nc_dm_mng_info));
  memset(&g_nc_dm_agent_manage, 0, sizeof(g_nc_dm_agent_manage));
  memset(&g_nc_dm_reg_list, 0, sizeof(g_nc_dm_reg_list));

  g_nc_dm_mng_info.agent_fd = -1;
  g_nc_dm_mng_info.agent_pid = static_cast<pid_t>(syscall(SYS_gettid));
  memcpy(g_nc_dm_mng_info.agent_name, name, strlen(name));
  g_nc_dm_mng_info.reg_rsp_handler = dm_reg_rsp;
  nc::ForgetAnswer();
  nc::ForgetLeaveRequests();
  g_nc_dm_agent_manage.master = master;

  nc::InitList(&g_nc_dm_reg_list.reg_list);
  if (pthread_mutex_init(&g_nc_dm_reg_list.list_mutex, nullptr) != 0) {
    return nc::Refuse("reg list mutex init failed.\n");
  }
  nc_dm_agent_op_data_init();
  return nc_dm_agent_init_tree();
}

void ConnectFirst() {
  if (nc_dm_agent_connect_socket() != 0) {
    nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
    return;
  }
  if (nc::SendClientName() != 0) {
    NC_DM_LOG_ERROR("Client remote dm register unsuccessfully!\n");
    nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
  }
}

// Undoes a start whose registration failed: the next start is like a first one. From here on the
// registration calls of other threads are refused.
void TakeBack() {
  g_nc_dm_mng_info.agent_init = false;
  nc::RemoveSocketFile(g_nc_dm_mng_info.agent_fd);
  nc_dm_agent_clear_connect();
  nc::CancelTask(NC_DM_EVENT_REG);
  g_nc_dm_agent_manage.master = nullptr;
  nc_dm_agent_op_data_init();
  nc::ReleaseAnswer(nc::AnswerKind::kValues);
  nc::ReleaseQueue();
  const nc::MutexLock lock(&g_nc_agent_dm.dm_mutex);
  nc::EmptyTree();
  g_nc_dm_mng_info.agent_tree_init = false;
  g_nc_dm_mng_info.data_commit = nullptr;
}

}  // namespace

int nc_dm_agent_init(const char* name, zu_thread_master* master, int (*dm_reg)(void),
                     int (*dm_reg_rsp)(void)) {
  if (master == nullptr || name == nullptr) {
    return nc::Refuse("Input parameter master or name is invalid!\n");
  }
  NC_DM_LOG_INFO("Module name: %s\n", name);
  if (CheckClientName(name) != 0) return -1;
  nc_dm_agent_dbg_check(name);
  if (InitState(name, master, dm_reg_rsp) != 0) return -1;
  const nc::RetryAtEnd retry;

  nc_dm_agent_restart(g_nc_dm_mng_info.agent_name);
  ConnectFirst();
  g_nc_dm_mng_info.agent_init = true;

  if (dm_reg != nullptr) {
    const int result = dm_reg();
    if (result != 0) {
      NC_DM_LOG_ERROR("Failed to register dm!\n");
      TakeBack();
      return result;
    }
    nc_dm_agent_mode_reg_cplt();
  }
  // After a failed connect this may be a bad descriptor; the reconnect task cancels the read task.
  nc_dm_agent_handle_event(NC_DM_EVENT_READ, g_nc_dm_mng_info.agent_fd, 0);
  nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, kRegSeconds);
  return 0;
}
