#include "server/netconf/envelope.h"

#include <algorithm>
#include <utility>

#include "server/netconf/xml_text.h"

namespace ncdm::netconf {
namespace {

constexpr char kRpc[] = "rpc";
constexpr char kMessageId[] = "message-id";

RpcError Refusal(std::string type, std::string tag, std::string message,
                 std::vector<ErrorInfo> info = {}) {
  RpcError error;
  error.type = std::move(type);
  error.tag = std::move(tag);
  error.message = std::move(message);
  error.info = std::move(info);
  return error;
}

RpcError Malformed(Framing framing, const std::string& why) {
  return Refusal("rpc", framing == Framing::kChunked ? "malformed-message" : "operation-failed",
                 "The message is not well-formed XML: " + why);
}

RpcError NoRequest(const XmlElement& root) {
  if (root.name != kRpc) {
    return Refusal("rpc", "unknown-element", "An <rpc> was expected.",
                   {{"bad-element", root.name}});
  }
  return Refusal("rpc", "unknown-namespace", "An <rpc> of NETCONF's namespace was expected.",
                 {{"bad-element", root.name}, {"bad-namespace", root.name_space}});
}

bool HasMessageId(const XmlElement& rpc) {
  return std::ranges::any_of(rpc.attributes, [](const XmlAttribute& attribute) {
    return attribute.prefix.empty() && attribute.name == kMessageId;
  });
}

std::optional<RpcError> CheckRpc(const XmlElement& root) {
  if (!root.Is(kBaseNamespace, kRpc)) {
    return NoRequest(root);
  }
  if (!HasMessageId(root)) {
    return Refusal("rpc", "missing-attribute", "An <rpc> has a message-id.",
                   {{"bad-attribute", kMessageId}, {"bad-element", kRpc}});
  }
  if (root.children.empty()) {
    return Refusal("protocol", "missing-element", "The <rpc> has no operation in it.",
                   {{"bad-element", "operation"}});
  }
  if (root.children.size() > 1) {
    return Refusal("protocol", "unknown-element", "The <rpc> has more than one operation in it.",
                   {{"bad-element", root.children[1].name}});
  }
  return std::nullopt;
}

// ---- Output ----

// Elements of the base namespace, where it may not be the default one.
class Writer {
 public:
  explicit Writer(bool base_is_default)
      : declaration_(base_is_default ? "" : std::string(" xmlns=\"") + kBaseNamespace + '"') {}

  std::string& xml() { return xml_; }
  const std::string& declaration() const { return declaration_; }

  void Element(std::string_view name, std::string_view text, std::string_view attributes = {}) {
    xml_.append("<").append(name).append(attributes).append(">");
    AppendEscaped(&xml_, text);
    xml_.append("</").append(name).append(">");
  }
  void OptionalElement(std::string_view name, const std::string& text,
                       std::string_view attributes = {}) {
    if (!text.empty()) {
      Element(name, text, attributes);
    }
  }

 private:
  std::string declaration_;
  std::string xml_;
};

void AppendAttribute(std::string* xml, std::string_view prefix, std::string_view name,
                     std::string_view value) {
  xml->append(" ").append(prefix);
  if (!prefix.empty() && !name.empty()) {
    xml->append(":");
  }
  xml->append(name).append("=\"");
  AppendEscapedAttribute(xml, value);
  xml->append("\"");
}

void AppendDeclaration(std::string* xml, const XmlNamespace& declaration) {
  if (declaration.prefix.empty()) {
    AppendAttribute(xml, "", "xmlns", declaration.uri);
  } else {
    AppendAttribute(xml, "xmlns", declaration.prefix, declaration.uri);
  }
}

void WriteInfo(Writer* writer, const std::vector<ErrorInfo>& info) {
  if (info.empty()) {
    return;
  }
  writer->xml().append("<error-info>");
  for (const ErrorInfo& element : info) {
    std::string attributes;
    if (element.name_space != kBaseNamespace) {
      AppendDeclaration(&attributes, {"", element.name_space});
    }
    writer->Element(element.name, element.text, attributes);
  }
  writer->xml().append("</error-info>");
}

void WriteError(Writer* writer, const RpcError& error) {
  std::string prefixes;
  for (const PathPrefix& prefix : error.prefixes) {
    AppendDeclaration(&prefixes, {prefix.prefix, prefix.name_space});
  }
  writer->xml().append("<rpc-error").append(writer->declaration()).append(">");
  writer->Element("error-type", error.type);
  writer->Element("error-tag", error.tag);
  writer->Element("error-severity", error.severity);
  writer->OptionalElement("error-app-tag", error.app_tag);
  writer->OptionalElement("error-path", error.path, prefixes);
  writer->OptionalElement("error-message", error.message, " xml:lang=\"en\"");
  WriteInfo(writer, error.info);
  writer->xml().append("</rpc-error>");
}

const XmlNamespace* DefaultNamespace(const XmlElement& element) {
  const auto found = std::ranges::find(element.declarations, "", &XmlNamespace::prefix);
  return found == element.declarations.end() ? nullptr : &*found;
}

std::string StartTag(const XmlElement& rpc, std::string_view name) {
  std::string xml = "<";
  xml.append(name);
  if (DefaultNamespace(rpc) == nullptr) {
    AppendDeclaration(&xml, {"", kBaseNamespace});
  }
  for (const XmlNamespace& declaration : rpc.declarations) {
    AppendDeclaration(&xml, declaration);
  }
  for (const XmlAttribute& attribute : rpc.attributes) {
    AppendAttribute(&xml, attribute.prefix, attribute.name, attribute.value);
  }
  return xml + ">";
}

}  // namespace

Envelope OpenEnvelope(std::string_view message, Framing framing) {
  Envelope envelope;
  try {
    envelope.rpc = ParseXmlTop(message);
  } catch (const XmlTooBig& error) {
    envelope.error =
        Refusal("rpc", "too-big", std::string("The message has ") + error.what() + ".");
    return envelope;
  } catch (const XmlError& error) {
    envelope.error = Malformed(framing, error.what());
    return envelope;
  }
  envelope.error = CheckRpc(envelope.rpc);
  if (!envelope.error) {
    envelope.operation = std::move(envelope.rpc.children.front());
  }
  if (!envelope.rpc.Is(kBaseNamespace, kRpc)) {
    envelope.rpc = {};  // its attributes are none of an <rpc>
  }
  envelope.rpc.children.clear();
  return envelope;
}

std::string RenderReply(const XmlElement& rpc, const Reply& reply) {
  const XmlNamespace* default_namespace = DefaultNamespace(rpc);
  const bool base_is_default =
      default_namespace == nullptr || default_namespace->uri == kBaseNamespace;
  // Then <rpc> itself had a prefix, which is there for its reply too.
  const std::string name = base_is_default ? "rpc-reply" : rpc.prefix + ":rpc-reply";
  Writer writer(base_is_default);
  std::string& xml = writer.xml();
  xml.reserve(reply.content.size() + 512);
  xml.append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n").append(StartTag(rpc, name));
  for (const RpcError& error : reply.errors) {
    WriteError(&writer, error);
  }
  xml.append(reply.content);
  if (reply.errors.empty() && reply.content.empty()) {
    xml.append("<ok").append(writer.declaration()).append("/>");
  }
  xml.append("</").append(name).append(">");
  return std::move(xml);
}

}  // namespace ncdm::netconf
