#include "server/netconf/xml_element.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

namespace ncdm::netconf {
namespace {

// How libxml2 passes an attribute of a start tag: five pointers each.
constexpr int kAttributePointers = 5;

// Whoever has the document next may walk it recursively.
constexpr int kMaxDepth = 256;

std::string ToString(const xmlChar* text) {
  return text == nullptr ? std::string() : reinterpret_cast<const char*>(text);
}

struct ContextDeleter {
  void operator()(xmlParserCtxt* context) const { xmlFreeParserCtxt(context); }
};
using Context = std::unique_ptr<xmlParserCtxt, ContextDeleter>;

// Collects the elements while libxml2 parses. Its functions are called from C: nothing is thrown.
class Collector {
 public:
  Collector(xmlParserCtxt* context, const XmlLimits& limits) : context_(context), limits_(limits) {}

  XmlElement TakeRoot() { return std::move(root_); }
  const std::string& error() const { return error_; }
  bool is_too_big() const { return nodes_ > kMaxXmlNodes; }

  void Count(std::size_t nodes) {
    nodes_ += nodes;
    in_text_ = false;
    if (is_too_big()) {
      Refuse("more than " + std::to_string(kMaxXmlNodes) + " nodes");
    }
  }

  // An element begins. True if it is one to keep: Keep() follows.
  bool Start(int attributes) {
    Count(1 + 2 * static_cast<std::size_t>(attributes));
    if (++depth_ > kMaxDepth) {
      Refuse("deeper than " + std::to_string(kMaxDepth) + " levels");
    }
    return depth_ <= limits_.depth && static_cast<std::size_t>(depth_) == open_.size() + 1 &&
           (open_.empty() || open_.back()->children.size() < limits_.children);
  }

  void Keep(XmlElement element) {
    if (open_.empty()) {
      root_ = std::move(element);
      open_.push_back(&root_);
    } else {
      open_.push_back(&open_.back()->children.emplace_back(std::move(element)));
    }
  }

  void End() {
    in_text_ = false;
    if (static_cast<std::size_t>(depth_) == open_.size()) {
      open_.pop_back();
    }
    --depth_;
  }

  void Text(std::string_view text) {
    if (!in_text_) {
      Count(1);
      in_text_ = true;
    }
    if (static_cast<std::size_t>(depth_) == open_.size() && !open_.empty()) {
      std::string& kept = open_.back()->text;
      kept.append(text.substr(0, limits_.text - std::min(limits_.text, kept.size())));
    }
  }

  void Refuse(std::string why) {
    if (error_.empty()) {
      error_ = std::move(why);
    }
    xmlStopParser(context_);
  }

 private:
  xmlParserCtxt* context_;
  const XmlLimits& limits_;
  XmlElement root_;
  std::vector<XmlElement*> open_;  // the kept ones on the way to where the parser is
  int depth_ = 0;                  // of the parser
  std::size_t nodes_ = 0;
  bool in_text_ = false;  // libxml2 passes a long text in pieces
  std::string error_;
};

Collector& ToCollector(void* data) { return *static_cast<Collector*>(data); }

std::vector<XmlNamespace> ToNamespaces(int count, const xmlChar** namespaces) {
  std::vector<XmlNamespace> declarations;
  for (int i = 0; i < count; ++i, namespaces += 2) {
    declarations.push_back({ToString(namespaces[0]), ToString(namespaces[1])});
  }
  return declarations;
}

std::vector<XmlAttribute> ToAttributes(int count, const xmlChar** fields) {
  std::vector<XmlAttribute> attributes;
  for (int i = 0; i < count; ++i, fields += kAttributePointers) {
    attributes.push_back({ToString(fields[1]), ToString(fields[0]),
                          std::string(reinterpret_cast<const char*>(fields[3]),
                                      reinterpret_cast<const char*>(fields[4]))});
  }
  return attributes;
}

void OnStart(void* data, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
             int namespace_count, const xmlChar** namespaces, int attribute_count,
             int /*defaulted*/, const xmlChar** attributes) {
  Collector& collector = ToCollector(data);
  if (collector.Start(namespace_count + attribute_count)) {
    collector.Keep({ToString(prefix), ToString(name), ToString(uri),
                    ToNamespaces(namespace_count, namespaces),
                    ToAttributes(attribute_count, attributes)});
  }
}

void OnEnd(void* data, const xmlChar* /*name*/, const xmlChar* /*prefix*/, const xmlChar* /*uri*/) {
  ToCollector(data).End();
}

void OnText(void* data, const xmlChar* text, int size) {
  ToCollector(data).Text({reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)});
}

void OnComment(void* data, const xmlChar* /*text*/) { ToCollector(data).Count(1); }

void OnInstruction(void* data, const xmlChar* /*target*/, const xmlChar* /*text*/) {
  ToCollector(data).Count(1);
}

void OnDocumentType(void* data, const xmlChar* /*name*/, const xmlChar* /*external_id*/,
                    const xmlChar* /*system_id*/) {
  ToCollector(data).Refuse("a document type declaration");
}

void OnError(void* data, xmlError* error) {
  if (error->level < XML_ERR_ERROR) {
    return;  // of a namespace's name that is no absolute URI, for one
  }
  std::string text = error->message == nullptr ? "not well-formed" : error->message;
  text.erase(text.find_last_not_of(" \n") + 1);
  ToCollector(data).Refuse("line " + std::to_string(error->line) + ": " + text);
}

xmlSAXHandler MakeHandler() {
  xmlSAXHandler handler{};
  handler.initialized = XML_SAX2_MAGIC;
  handler.internalSubset = OnDocumentType;
  handler.startElementNs = OnStart;
  handler.endElementNs = OnEnd;
  handler.characters = OnText;
  handler.cdataBlock = OnText;
  handler.comment = OnComment;
  handler.processingInstruction = OnInstruction;
  handler.serror = OnError;
  return handler;
}

// The declaration of an XML document must be the first thing in it, but clients put line feeds
// between messages.
std::string_view WithoutLead(std::string_view document) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  document.remove_prefix(std::min(document.find_first_not_of(" \t\r\n"), document.size()));
  if (document.starts_with(kByteOrderMark)) {
    document.remove_prefix(kByteOrderMark.size());
  }
  return document;
}

}  // namespace

XmlElement ParseXmlTop(std::string_view document, const XmlLimits& limits) {
  document = WithoutLead(document);
  // With a NUL it could pass for UTF-16; and libxml2 counts in int.
  if (document.empty() || document.front() != '<' || document.find('\0') != std::string::npos ||
      document.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    throw XmlError("not an XML document in UTF-8");
  }
  static const bool initialized = (xmlInitParser(), true);
  static xmlSAXHandler handler = MakeHandler();
  static_cast<void>(initialized);
  const Context context(
      xmlCreateMemoryParserCtxt(document.data(), static_cast<int>(document.size())));
  if (context == nullptr) {
    throw std::bad_alloc();
  }
  Collector collector(context.get(), limits);
  *context->sax = handler;
  context->userData = &collector;
  // Without NOENT the "&amp;" of an attribute comes as another reference. There are no entities but
  // the predefined ones, since a document type declaration is refused.
  xmlCtxtUseOptions(context.get(), XML_PARSE_NONET | XML_PARSE_IGNORE_ENC | XML_PARSE_NOENT);
  xmlParseDocument(context.get());
  if (collector.is_too_big()) {
    throw XmlTooBig(collector.error());
  }
  if (!collector.error().empty()) {
    throw XmlError(collector.error());
  }
  if (context->wellFormed == 0 || context->nsWellFormed == 0) {
    throw XmlError("not well-formed");
  }
  return collector.TakeRoot();
}

}  // namespace ncdm::netconf
