// The XML of a request, as a tree of elements.
#ifndef NCDM_SERVER_NETCONF_DEVICE_XML_DOCUMENT_H_
#define NCDM_SERVER_NETCONF_DEVICE_XML_DOCUMENT_H_

#include <libxml/tree.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ncdm::netconf {

// An element of a document; cheap to copy, valid as long as the document.
class Element {
 public:
  Element() = default;
  explicit Element(xmlNode* node) : node_(node) {}

  explicit operator bool() const { return node_ != nullptr; }
  std::string_view name() const;
  std::string_view name_space() const;  // empty for none
  bool Is(std::string_view name, std::string_view name_space) const;
  // The text directly inside it; without the blanks around it in Trimmed().
  std::string Text() const;
  std::string Trimmed() const;

  std::vector<Element> Children() const;
  bool has_children() const;
  // The first child of that name in that namespace; none: an element that is false.
  Element Child(std::string_view name, std::string_view name_space) const;

  // An attribute without a namespace, or with one.
  std::optional<std::string> Attribute(const char* name) const;
  std::optional<std::string> Attribute(const char* name, const char* name_space) const;
  // Namespace declarations do not count.
  bool has_attributes() const;
  struct AttributeName {
    std::string_view name;
    std::string_view name_space;
  };
  std::vector<AttributeName> Attributes() const;

  // What a prefix stands for in the element; the empty prefix is the default namespace. Nothing for
  // one that is not declared.
  std::optional<std::string> NamespaceOf(const std::string& prefix) const;

 private:
  xmlNode* node_ = nullptr;
};

class Document {
 public:
  // Throws std::runtime_error for what is no XML.
  explicit Document(std::string_view text);
  Element root() const;

 private:
  struct Deleter {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  };
  std::unique_ptr<xmlDoc, Deleter> document_;
};

std::string_view Trim(std::string_view text);
// As content of an element.
std::string EscapedXml(const std::string& text);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_XML_DOCUMENT_H_
