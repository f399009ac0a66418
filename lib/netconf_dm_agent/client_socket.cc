// The client's socket: its path below TMPDIR, its creation, and its connection to the server's.

#include "netconf_dm_agent/client_socket.h"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "netconf_dm_agent/trusted_path.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/log.h"

namespace {

constexpr char kClientSocketDir[] = "/mng/netconf/netconf_client/";

struct SocketSuffix {
  char text[sizeof(kClientSocketDir) + 1 + NC_DM_MAX_NAME_LEN];
};

SocketSuffix ClientSocketSuffix(const char* agent_name) {
  SocketSuffix suffix;
  snprintf(suffix.text, sizeof(suffix.text), "%s.%s", kClientSocketDir, agent_name);
  return suffix;
}

// The address of a path. Its length, by which the kernel knows the path's end, is that of the
// family and of the path without a NUL; 0 when the path does not fit.
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

// True if what stands below TMPDIR can be trusted. The directory that TMPDIR itself names is the
// administrator's choice.
bool IsTrusted(const char* path, const char* suffix) {
  return nc::IsTrustedPath(path, strlen(path) - strlen(suffix));
}

}  // namespace

namespace nc {

int ConnectToServer(int fd) {
  char suffix[] = "/mng/netconf/netconf_server/.serv";
  const char* path = nc_dm_make_path(suffix);
  const SocketAddress server(path);
  if (server.len == 0 || !IsTrusted(path, suffix) || connect(fd, server.get(), server.len) != 0) {
    NC_DM_LOG_ERROR("Failed to connect server:%s!\n", path == nullptr ? "(null)" : path);
    return -1;
  }
  return 0;
}

void RemoveSocketFile(int fd) {
  sockaddr_un address = {};
  socklen_t len = sizeof(address) - 1;  // the kernel ends a path by length
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &len) != 0) return;
  if (address.sun_family == AF_UNIX && address.sun_path[0] != '\0') unlink(address.sun_path);
}

}  // namespace nc

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
  if (!IsTrusted(full_path, path)) {
    close(fd);
    return -1;
  }
  unlink(full_path);
  // The file that bind makes takes over the socket's mode: only its owner may use it.
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
