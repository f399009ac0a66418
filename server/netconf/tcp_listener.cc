#include "server/netconf/tcp_listener.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace ncdm::netconf {
namespace {

// A client whose machine has died is noticed after two minutes: what it has locked is needed.
constexpr int kKeepAliveIdle = 60;
constexpr int kKeepAliveInterval = 15;
constexpr int kKeepAliveProbes = 4;

struct AddressDeleter {
  void operator()(addrinfo* address) const { freeaddrinfo(address); }
};
using Address = std::unique_ptr<addrinfo, AddressDeleter>;

Address ParseAddress(const std::string& address, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* result = nullptr;
  if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &result) != 0) {
    throw std::runtime_error("--address '" + address + "' is no numeric IP address");
  }
  return Address(result);
}

struct Name {
  std::string host;
  std::string port;
};

Name NameOf(const sockaddr_storage& address, socklen_t size) {
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  if (getnameinfo(reinterpret_cast<const sockaddr*>(&address), size, host.data(), host.size(),
                  port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return {};
  }
  return {host.data(), port.data()};
}

void SetOption(int fd, int level, int option, int value) {
  setsockopt(fd, level, option, &value, sizeof(value));
}

void Prepare(int fd) {
  SetOption(fd, IPPROTO_TCP, TCP_NODELAY, 1);
  SetOption(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
  SetOption(fd, IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdle);
  SetOption(fd, IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveInterval);
  SetOption(fd, IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes);
}

}  // namespace

TcpListener::TcpListener(const std::string& address, std::uint16_t port) {
  const Address parsed = ParseAddress(address, port);
  socket_ =
      server::Descriptor(socket(parsed->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  SetOption(fd(), SOL_SOCKET, SO_REUSEADDR, 1);
  if (fd() < 0 || bind(fd(), parsed->ai_addr, parsed->ai_addrlen) != 0 ||
      listen(fd(), SOMAXCONN) != 0) {
    throw std::runtime_error("cannot listen at " + address + " port " + std::to_string(port) +
                             ": " + std::strerror(errno));
  }
}

std::string TcpListener::Title() const {
  sockaddr_storage address{};
  socklen_t size = sizeof(address);
  getsockname(fd(), reinterpret_cast<sockaddr*>(&address), &size);
  const Name name = NameOf(address, size);
  return (address.ss_family == AF_INET6 ? "[" + name.host + "]" : name.host) + ":" + name.port;
}

std::optional<Accepted> TcpListener::Accept() const {
  sockaddr_storage address{};
  socklen_t size = sizeof(address);
  server::Descriptor socket(
      accept4(fd(), reinterpret_cast<sockaddr*>(&address), &size, SOCK_NONBLOCK | SOCK_CLOEXEC));
  if (socket.get() < 0) {
    return std::nullopt;
  }
  Prepare(socket.get());
  return Accepted{std::move(socket), NameOf(address, size).host};
}

}  // namespace ncdm::netconf
