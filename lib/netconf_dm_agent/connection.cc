// The one connection to the server: from the library's start through every loss and return of the
// server.

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <span>

#include "netconf_dm_agent/answer.h"
#include "netconf_dm_agent/frame.h"
#include "netconf_dm_agent/registration_task.h"
#include "netconf_dm_agent/tasks.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"

// Before the start descriptor 0 is the application's, not a connection.
constinit nc_dm_mng_info_t g_nc_dm_mng_info = [] {
  nc_dm_mng_info_t info = {};
  info.agent_fd = -1;
  return info;
}();

namespace {

constexpr char kClientSocketDir[] = "/mng/netconf/netconf_client/";
constexpr int kRegSeconds = 1;

struct SocketSuffix {
  char text[sizeof(kClientSocketDir) + 1 + NC_DM_MAX_NAME_LEN];
};

SocketSuffix ClientSocketSuffix(const char* agent_name) {
  SocketSuffix suffix;
  snprintf(suffix.text, sizeof(suffix.text), "%s.%s", kClientSocketDir, agent_name);
  return suffix;
}

// The address of a path and its length for the kernel, which ends a path by length: 2 bytes of
// family, then the path without a NUL. Length 0: the path does not fit an address.
struct SocketAddress {
  sockaddr_un address = {};
  socklen_t len = 0;

  explicit SocketAddress(const char* path) {
    const size_t path_len = path == nullptr ? 0 : strlen(path);
    if (path == nullptr || path_len >= sizeof(address.sun_path)) return;
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path, path_len);
    len = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path_len);
  }
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address); }
};

// A connect on a non-blocking local socket never waits: a server whose backlog is full fails it.
int ConnectToServer(int fd) {
  char suffix[] = "/mng/netconf/netconf_server/.serv";
  const char* path = nc_dm_make_path(suffix);
  const SocketAddress server(path);
  if (server.len == 0 || connect(fd, server.get(), server.len) != 0) {
    NC_DM_LOG_ERROR("Failed to connect server:%s!\n", path == nullptr ? "(null)" : path);
    return -1;
  }
  return 0;
}

int SendClientName() {
  return nc_dm_agent_reg_server_name(g_nc_dm_mng_info.agent_fd,
                                     g_nc_dm_mng_info.agent_restart ? NC_DM_REG_ATTR_RESTART : 0,
                                     g_nc_dm_mng_info.agent_name, &g_nc_agent_dm);
}

// What a new connection takes, in order. The server has forgotten all that it was told.
struct Step {
  int (*run)();
  const char* failure;
};
constexpr Step kReconnectSteps[] = {
    {SendClientName, "Client remote dm register unsuccessfully.\n"},
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
  if (SendClientName() != 0) {
    NC_DM_LOG_ERROR("Client remote dm register unsuccessfully!\n");
    nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
  }
}

void CloseSocket() {
  if (g_nc_dm_mng_info.agent_fd >= 0) close(g_nc_dm_mng_info.agent_fd);
  g_nc_dm_mng_info.agent_fd = -1;
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
      CloseSocket();
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

bool nc_dm_agent_restart(char* agent_name) {
  SocketSuffix suffix = ClientSocketSuffix(agent_name);
  const char* path = nc_dm_make_path(suffix.text);
  const bool exists = access(path == nullptr ? "" : path, F_OK) == 0;
  if (exists) {
    NC_DM_LOG_INFO("The path '%s' already exist.\n", path);
  } else {
    NC_DM_LOG_INFO("The path '%s' doesn't exist, strerr: %s.\n", path == nullptr ? "(null)" : path,
                   strerror(errno));
  }
  g_nc_dm_mng_info.agent_restart = exists;
  return exists;
}

int nc_dm_agent_create_socket(char* path, bool is_block) {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    NC_DM_LOG_ERROR("Failed to create client socket, errno = %d, %s\n", errno, strerror(errno));
    return -1;
  }
  const char* full_path = nc_dm_make_path(path);
  const SocketAddress client(full_path);
  if (client.len == 0) {
    NC_DM_LOG_ERROR("Get invalid socket path!\n");
    close(fd);
    return -1;
  }
  unlink(full_path);
  // The file takes over the mode: nobody but the owner has any business with it.
  fchmod(fd, S_IRUSR | S_IWUSR);
  if (bind(fd, client.get(), client.len) != 0) {
    NC_DM_LOG_ERROR("Failed to bind client socket, path:%s\n", full_path);
    close(fd);
    unlink(full_path);
    return -1;
  }
  if (is_block) {
    int on = 1;
    if (ioctl(fd, FIONBIO, &on) != 0) {
      NC_DM_LOG_ERROR("Failed to set socket to non-blocking, errno = %d, %s\n", errno,
                      strerror(errno));
    }
  }
  return fd;
}

int nc_dm_agent_create(void) {
  SocketSuffix suffix = ClientSocketSuffix(g_nc_dm_mng_info.agent_name);
  return nc_dm_agent_create_socket(suffix.text, true);
}

int nc_dm_agent_connect_socket(void) {
  if (g_nc_dm_mng_info.agent_fd >= 1) {
    NC_DM_LOG_INFO("Dm agent connect already.\n");
    return 0;
  }
  g_nc_dm_mng_info.agent_fd = nc_dm_agent_create();
  if (g_nc_dm_mng_info.agent_fd < 0) {
    NC_DM_LOG_ERROR("Failed to create dm client!\n");
    return -1;
  }
  return ConnectToServer(g_nc_dm_mng_info.agent_fd);
}

void nc_dm_agent_clear_connect(void) {
  nc::ResumeRegistrations();
  CloseSocket();
  nc::CancelTask(g_nc_dm_agent_manage.tt_connect);
  nc::CancelTask(g_nc_dm_agent_manage.tt_reconnect);
  nc::CancelTask(g_nc_dm_agent_manage.tt_read);
  nc::CancelTask(g_nc_dm_agent_manage.tt_fltrsp);
  nc::CancelTask(g_nc_dm_agent_manage.tt_idrsp);
  nc::CancelTask(g_nc_dm_agent_manage.tt_unreg_client);
  g_nc_agent_dm.registered = false;
}

int nc_dm_agent_connect(zu_thread* /*t*/) {
  NC_DM_LOG_INFO("Dm client connect....\n");
  g_nc_dm_agent_manage.tt_connect = nullptr;
  const int result = ConnectAndRun(kConnectSteps);
  if (result == 0) NC_DM_LOG_INFO("Dm agent connect successfully.\n");
  return result;
}

int nc_dm_agent_reconnect(zu_thread* /*t*/) {
  NC_DM_LOG_INFO("Dm agent reconnect...\n");
  g_nc_dm_agent_manage.tt_reconnect = nullptr;
  nc_dm_agent_clear_connect();
  const int result = ConnectAndRun(kReconnectSteps);
  if (result == 0) NC_DM_LOG_INFO("Dm agent reconnect ok.\n");
  return result;
}

int nc_dm_agent_read(zu_thread* t) {
  NC_DM_LOG_INFO("Dm client read....\n");
  g_nc_dm_agent_manage.tt_read = nullptr;
  if (t == nullptr) {
    NC_DM_LOG_ERROR("DM client read error!\n\n");
    return -1;
  }
  const int fd = t->value;
  if (nc_dm_agent_recv(fd) == nc::kLinkBroken) {
    nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
  } else {
    nc_dm_agent_handle_event(NC_DM_EVENT_READ, fd, 0);
  }
  NC_DM_LOG_INFO("Dm client read ok.\n");
  return 0;
}
