#include "server/netconf/hello.h"

#include <algorithm>

#include "server/netconf/operations.h"
#include "server/netconf/xml_element.h"
#include "server/netconf/xml_text.h"

namespace ncdm::netconf {
namespace {

constexpr std::string_view kBase10 = "urn:ietf:params:netconf:base:1.0";
constexpr std::string_view kBase11 = "urn:ietf:params:netconf:base:1.1";

// A controller may announce each module that it knows.
constexpr XmlLimits kHelloLimits{3, 4096, 1024};

XmlElement ParseHello(std::string_view message) {
  try {
    return ParseXmlTop(message, kHelloLimits);
  } catch (const XmlError& error) {
    throw HelloError(std::string("its <hello> is not well-formed XML: ") + error.what());
  }
}

const XmlElement* FindChild(const XmlElement& element, std::string_view name) {
  const auto child = std::ranges::find_if(element.children, [&](const XmlElement& candidate) {
    return candidate.Is(kBaseNamespace, name);
  });
  return child == element.children.end() ? nullptr : &*child;
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kWhiteSpace = " \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  return text.substr(0, text.find_last_not_of(kWhiteSpace) + 1);
}

bool Announces(const XmlElement& capabilities, std::string_view uri) {
  return std::ranges::any_of(capabilities.children, [&](const XmlElement& capability) {
    return capability.Is(kBaseNamespace, "capability") && Trimmed(capability.text) == uri;
  });
}

}  // namespace

std::string RenderHello(const std::vector<std::string>& capabilities, std::uint32_t session_id) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<hello xmlns=\"";
  xml.append(kBaseNamespace).append("\"><capabilities>");
  for (const std::string& capability : capabilities) {
    xml.append("<capability>");
    AppendEscaped(&xml, capability);
    xml.append("</capability>");
  }
  return xml.append("</capabilities><session-id>")
      .append(std::to_string(session_id))
      .append("</session-id></hello>");
}

Framing AcceptHello(std::string_view message) {
  const XmlElement hello = ParseHello(message);
  if (!hello.Is(kBaseNamespace, "hello")) {
    throw HelloError("it sent no <hello>, but <" + hello.name + ">");
  }
  if (FindChild(hello, "session-id") != nullptr) {
    throw HelloError("its <hello> has a session-id");
  }
  const XmlElement* capabilities = FindChild(hello, "capabilities");
  if (capabilities == nullptr) {
    throw HelloError("its <hello> has no capabilities");
  }
  if (Announces(*capabilities, kBase11)) {
    return Framing::kChunked;
  }
  if (!Announces(*capabilities, kBase10)) {
    throw HelloError("its <hello> announces no base version that is known here");
  }
  return Framing::kEndOfMessage;
}

}  // namespace ncdm::netconf
