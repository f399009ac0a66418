#include "fuzz/server_socket.h"

#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "fuzz/platform.h"

namespace ncdm_fuzz {
namespace {

int g_listener = -1;
int g_peer = -1;

const std::string& Directory() {
  static const std::string directory = [] {
    const char* parent = getenv("TMPDIR");
    std::string name = std::string(parent != nullptr ? parent : "/tmp") + "/ncdm-XXXXXX";
    NCDM_FUZZ_CHECK(mkdtemp(name.data()) != nullptr);
    return name;
  }();
  return directory;
}

void RemoveDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(Directory(), ignored);
}

}  // namespace

void Listen() {
  const std::string server = Directory() + "/mng/netconf/netconf_server";
  std::filesystem::create_directories(server);
  std::filesystem::create_directories(Directory() + "/mng/netconf/netconf_client");
  setenv("TMPDIR", Directory().c_str(), 1);
  atexit(RemoveDirectory);

  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path = server + "/.serv";
  NCDM_FUZZ_CHECK(path.size() < sizeof(address.sun_path));
  memcpy(address.sun_path, path.c_str(), path.size());
  g_listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  NCDM_FUZZ_CHECK(bind(g_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0);
  NCDM_FUZZ_CHECK(listen(g_listener, 8) == 0);
}

void Accept() {
  HangUp();
  for (int fd; (fd = accept4(g_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)) >= 0;) {
    HangUp();
    g_peer = fd;
  }
}

void SendToAgent(std::string_view bytes) {
  if (g_peer >= 0) send(g_peer, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

void ReadAll() {
  char bytes[1 << 14];
  while (g_peer >= 0 && recv(g_peer, bytes, sizeof(bytes), MSG_DONTWAIT) > 0) {
  }
}

void HangUp() {
  if (g_peer >= 0) close(g_peer);
  g_peer = -1;
}

}  // namespace ncdm_fuzz
