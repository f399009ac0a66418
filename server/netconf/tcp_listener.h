// The port that clients connect to.
#ifndef NCDM_SERVER_NETCONF_TCP_LISTENER_H_
#define NCDM_SERVER_NETCONF_TCP_LISTENER_H_

#include <cstdint>
#include <optional>
#include <string>

#include "server/connection.h"

namespace ncdm::netconf {

// An accepted connection; its socket does not block.
struct Accepted {
  server::Descriptor socket;
  std::string host;  // numeric address of the other end
};

class TcpListener {
 public:
  // Listens at a numeric address of IP version 4 or 6; port 0 takes a free one. Throws
  // std::runtime_error that names address and port.
  TcpListener(const std::string& address, std::uint16_t port);

  int fd() const { return socket_.get(); }
  // "127.0.0.1:830", "[::1]:830".
  std::string Title() const;
  // The next waiting connection. Without one `errno` tells why: EAGAIN when none waits.
  std::optional<Accepted> Accept() const;

 private:
  server::Descriptor socket_;
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_TCP_LISTENER_H_
