// <hello> (RFC 6241, section 8.1).
#ifndef NCDM_SERVER_NETCONF_HELLO_H_
#define NCDM_SERVER_NETCONF_HELLO_H_

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "server/netconf/framing.h"

namespace ncdm::netconf {

// The session cannot be.
class HelloError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::string RenderHello(const std::vector<std::string>& capabilities, std::uint32_t session_id);

// The framing of the messages that follow a client's <hello>: chunks when it knows base:1.1, which
// this server always does. Throws HelloError when it is no <hello> of a client, or has no base
// version that this server knows.
Framing AcceptHello(std::string_view message);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_HELLO_H_
