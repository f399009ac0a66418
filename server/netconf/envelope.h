// <rpc> and <rpc-reply> (RFC 6241, section 4): what surrounds an operation and its answer.
#ifndef NCDM_SERVER_NETCONF_ENVELOPE_H_
#define NCDM_SERVER_NETCONF_ENVELOPE_H_

#include <optional>
#include <string>
#include <string_view>

#include "server/netconf/framing.h"
#include "server/netconf/operations.h"
#include "server/netconf/xml_element.h"

namespace ncdm::netconf {

// What came in place of an <rpc>.
struct Envelope {
  // <rpc> as it came, without what is in it: the reply carries its attributes and namespaces.
  XmlElement rpc{};
  // The one element in it, when there is no error.
  XmlElement operation{};
  // Why it is no request.
  std::optional<RpcError> error{};
};

// Looks at a message. `framing` tells what the client knows: a base:1.0 client must not get to see
// the tag "malformed-message".
Envelope OpenEnvelope(std::string_view message, Framing framing);

// The answer as a document.
std::string RenderReply(const XmlElement& rpc, const Reply& reply);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_ENVELOPE_H_
