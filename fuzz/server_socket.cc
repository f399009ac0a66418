#include "fuzz/server_socket.h"

#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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

constexpr const char* kServerDirectory = "/mng/netconf/netconf_server";

std::string SocketPath() { return Directory() + kServerDirectory + "/.serv"; }

void RemoveDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(Directory(), ignored);
}

}  // namespace

void Listen() {
  std::filesystem::create_directories(Directory() + kServerDirectory);
  std::filesystem::create_directories(Directory() + "/mng/netconf/netconf_client");
  setenv("TMPDIR", Directory().c_str(), 1);
  atexit(RemoveDirectory);
  ListenAgain();
}

void ListenAgain() {
  if (g_listener >= 0) return;
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path = SocketPath();
  NCDM_FUZZ_CHECK(path.size() < sizeof(address.sun_path));
  memcpy(address.sun_path, path.c_str(), path.size());
  g_listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  NCDM_FUZZ_CHECK(bind(g_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0);
  NCDM_FUZZ_CHECK(listen(g_listener, 8) == 0);
}

void StopListening() {
  if (g_listener >= 0) close(g_listener);
  g_listener = -1;
  unlink(SocketPath().c_str());
}

bool Accept() {
  bool is_new = false;
  for (int fd; g_listener >= 0 &&
               (fd = accept4(g_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)) >= 0;) {
    HangUp();
    g_peer = fd;
    is_new = true;
  }
  return is_new;
}

void SendToAgent(std::string_view bytes) {
  if (g_peer >= 0) send(g_peer, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

void ReadAll() {
  char bytes[1 << 14];
  while (g_peer >= 0 && recv(g_peer, bytes, sizeof(bytes), MSG_DONTWAIT) > 0) {
  }
}

std::string Read(size_t most) {
  static std::array<char, size_t{1} << 16> buffer;
  most = std::min(most, buffer.size());
  const ssize_t count = g_peer < 0 ? 0 : recv(g_peer, buffer.data(), most, MSG_DONTWAIT);
  return count < 0 ? std::string() : std::string(buffer.data(), static_cast<size_t>(count));
}

void HangUp() {
  if (g_peer >= 0) close(g_peer);
  g_peer = -1;
}

}  // namespace ncdm_fuzz
