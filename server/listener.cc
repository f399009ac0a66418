#include "server/listener.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "server/socket_directories.h"

namespace ncdm::server {
namespace {

constexpr int kBacklog = 64;

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

sockaddr_un Address(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) {
    throw std::runtime_error("the socket's path is too long (" + std::to_string(path.size()) +
                             " characters): " + path);
  }
  path.copy(address.sun_path, path.size());
  return address;
}

Descriptor NewSocket() {
  Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (socket.get() < 0) {
    Fail("cannot create a socket");
  }
  return socket;
}

const sockaddr* Generic(const sockaddr_un* address) {
  return reinterpret_cast<const sockaddr*>(address);
}

// A socket file that nobody listens at is left from a server that died.
bool SomebodyListens(const sockaddr_un& address) {
  const Descriptor probe = NewSocket();
  return connect(probe.get(), Generic(&address), sizeof(address)) == 0 || errno == EAGAIN;
}

// Held as long as the descriptor is open, so a server that died holds nothing up.
Descriptor TakeLock(const std::string& socket_path) {
  const std::string path = socket_path + ".lock";
  Descriptor lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  if (lock.get() < 0) {
    Fail("cannot open " + path);
  }
  if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) {
      Fail("cannot lock " + path);
    }
    throw std::runtime_error("another server listens at " + socket_path);
  }
  return lock;
}

bool IsOutOfResources(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

std::string Listener::SocketPath(const std::string& root) {
  return root + "/mng/netconf/netconf_server/.serv";
}

Listener::Listener(const std::string& root) : path_(SocketPath(root)) {
  if (root.empty()) {
    throw std::runtime_error("no root directory is given");
  }
  const sockaddr_un address = Address(path_);
  PrepareSocketDirectories(root);
  lock_ = TakeLock(path_);
  if (SomebodyListens(address)) {
    throw std::runtime_error("another server listens at " + path_);
  }
  unlink(path_.c_str());
  socket_ = NewSocket();
  // The file takes over the mode, so that there is no moment in which others may connect.
  if (fchmod(socket_.get(), S_IRUSR | S_IWUSR) != 0) {
    Fail("cannot keep " + path_ + " for its owner");
  }
  if (bind(socket_.get(), Generic(&address), sizeof(address)) != 0) {
    Fail("cannot bind " + path_);
  }
  struct stat status {};
  if (lstat(path_.c_str(), &status) == 0) {
    device_ = status.st_dev;
    inode_ = status.st_ino;
  }
  if (listen(socket_.get(), kBacklog) != 0) {
    Fail("cannot listen at " + path_);
  }
}

Listener::~Listener() {
  struct stat status {};
  if (lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_) {
    unlink(path_.c_str());
  }
}

std::optional<Connection> Listener::Accept() {
  Descriptor socket(accept4(socket_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  is_exhausted_ = socket.get() < 0 && IsOutOfResources(errno);
  if (socket.get() < 0) {
    return std::nullopt;
  }
  return Connection(std::move(socket));
}

}  // namespace ncdm::server
