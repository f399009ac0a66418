// The top of an XML document: enough to see what a message is and who should have it.
#ifndef NCDM_SERVER_NETCONF_XML_ELEMENT_H_
#define NCDM_SERVER_NETCONF_XML_ELEMENT_H_

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ncdm::netconf {

struct XmlNamespace {
  std::string prefix;  // empty: the default namespace
  std::string uri;
};

struct XmlAttribute {
  std::string prefix;
  std::string name;
  std::string value;
};

struct XmlElement {
  std::string prefix;
  std::string name;
  std::string name_space;
  std::vector<XmlNamespace> declarations{};  // that stand at this element, in their order
  std::vector<XmlAttribute> attributes{};    // others, in their order
  std::string text{};                        // directly inside
  std::vector<XmlElement> children{};

  bool Is(std::string_view uri, std::string_view local_name) const {
    return name == local_name && name_space == uri;
  }
};

// A document that is not well-formed, with or without namespaces, not in UTF-8, or that NETCONF
// does not allow (RFC 6241, section 3: no document type declaration).
class XmlError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Well-formed so far, but of more nodes than kMaxXmlNodes.
class XmlTooBig : public XmlError {
  using XmlError::XmlError;
};

// Elements, texts, comments and processing instructions, and each attribute as two: what whoever
// has the document next makes of it takes some hundred bytes for each.
inline constexpr std::size_t kMaxXmlNodes = 1'000'000;

// What a message keeps of its elements: to this depth (1: the root alone), that many children of an
// element and bytes of text in it. The rest is checked and dropped.
struct XmlLimits {
  int depth = 3;
  std::size_t children = 16;
  std::size_t text = 4096;
};

// Checks the whole document, behind white space and a byte order mark, and returns its top. Deeper
// than 256 levels is refused. Throws XmlError, or XmlTooBig.
XmlElement ParseXmlTop(std::string_view document, const XmlLimits& limits = {});

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_XML_ELEMENT_H_
