// The library's start within the application.

#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>

#include "netconf_dm_agent/answer.h"
#include "netconf_dm_agent/connection.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"

namespace {

constexpr int kRegSeconds = 1;

bool CheckClientName(const char* name) {
  const size_t len = strnlen(name, NC_DM_MAX_NAME_LEN + 1);
  if (len > NC_DM_MAX_NAME_LEN) {
    NC_DM_LOG_ERROR("The length of client's name is too long!\n");
    return false;
  }
  if (len == 0) {
    NC_DM_LOG_ERROR("The client's name can't be empty!\n");
    return false;
  }
  return true;
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
  g_nc_dm_agent_manage.master = master;

  nc::InitList(&g_nc_dm_reg_list.reg_list);
  if (pthread_mutex_init(&g_nc_dm_reg_list.list_mutex, nullptr) != 0) {
    NC_DM_LOG_ERROR("reg list mutex init failed.\n");
    return -1;
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

}  // namespace

int nc_dm_agent_init(const char* name, zu_thread_master* master, int (*dm_reg)(void),
                     int (*dm_reg_rsp)(void)) {
  if (master == nullptr || name == nullptr) {
    NC_DM_LOG_ERROR("Input parameter master or name is invalid!\n");
    return -1;
  }
  NC_DM_LOG_INFO("Module name: %s\n", name);
  if (!CheckClientName(name)) return -1;
  nc_dm_agent_dbg_check(name);
  if (InitState(name, master, dm_reg_rsp) != 0) return -1;

  nc_dm_agent_restart(g_nc_dm_mng_info.agent_name);
  ConnectFirst();
  g_nc_dm_mng_info.agent_init = true;

  if (dm_reg != nullptr) {
    const int result = dm_reg();
    if (result != 0) {
      NC_DM_LOG_ERROR("Failed to register dm!\n");
      nc::CloseSocket();
      return result;
    }
    nc_dm_agent_mode_reg_cplt();
  }
  // Without a connection the descriptor is what the failed attempt left: the task is cancelled by
  // the reconnection.
  nc_dm_agent_handle_event(NC_DM_EVENT_READ, g_nc_dm_mng_info.agent_fd, 0);
  nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, kRegSeconds);
  return 0;
}
