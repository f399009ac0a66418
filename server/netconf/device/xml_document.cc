#include "server/netconf/device/xml_document.h"

#include <libxml/entities.h>
#include <libxml/parser.h>

#include <stdexcept>

namespace ncdm::netconf {
namespace {

std::string_view View(const xmlChar* text) {
  return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

const xmlChar* Xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

std::string Take(xmlChar* text) {
  std::string taken(View(text));
  xmlFree(text);
  return taken;
}

}  // namespace

std::string_view Trim(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) {
    return {};
  }
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::string EscapedXml(const std::string& text) {
  return Take(xmlEncodeSpecialChars(nullptr, Xml(text.c_str())));
}

std::string_view Element::name() const { return View(node_->name); }

std::string_view Element::name_space() const {
  return node_->ns == nullptr ? std::string_view() : View(node_->ns->href);
}

bool Element::Is(std::string_view wanted, std::string_view wanted_space) const {
  return node_ != nullptr && name() == wanted && name_space() == wanted_space;
}

std::string Element::Text() const {
  std::string text;
  for (const xmlNode* child = node_->children; child != nullptr; child = child->next) {
    if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE) {
      text += View(child->content);
    }
  }
  return text;
}

std::string Element::Trimmed() const { return std::string(Trim(Text())); }

std::vector<Element> Element::Children() const {
  std::vector<Element> children;
  for (xmlNode* child = node_->children; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE) {
      children.emplace_back(child);
    }
  }
  return children;
}

bool Element::has_children() const { return xmlFirstElementChild(node_) != nullptr; }

Element Element::Child(std::string_view wanted, std::string_view wanted_space) const {
  for (xmlNode* child = node_->children; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE && Element(child).Is(wanted, wanted_space)) {
      return Element(child);
    }
  }
  return {};
}

std::optional<std::string> Element::Attribute(const char* wanted) const {
  return xmlHasNsProp(node_, Xml(wanted), nullptr) == nullptr
             ? std::nullopt
             : std::optional(Take(xmlGetNoNsProp(node_, Xml(wanted))));
}

std::optional<std::string> Element::Attribute(const char* wanted, const char* wanted_space) const {
  return xmlHasNsProp(node_, Xml(wanted), Xml(wanted_space)) == nullptr
             ? std::nullopt
             : std::optional(Take(xmlGetNsProp(node_, Xml(wanted), Xml(wanted_space))));
}

bool Element::has_attributes() const { return node_->properties != nullptr; }

std::vector<Element::AttributeName> Element::Attributes() const {
  std::vector<AttributeName> names;
  for (const xmlAttr* attribute = node_->properties; attribute != nullptr;
       attribute = attribute->next) {
    names.push_back({View(attribute->name),
                     attribute->ns == nullptr ? std::string_view() : View(attribute->ns->href)});
  }
  return names;
}

std::optional<std::string> Element::NamespaceOf(const std::string& prefix) const {
  const xmlNs* found =
      xmlSearchNs(node_->doc, node_, prefix.empty() ? nullptr : Xml(prefix.c_str()));
  if (found == nullptr) {
    return std::nullopt;
  }
  return std::string(View(found->href));
}

Document::Document(std::string_view text)
    : document_(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8",
                              XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                                  XML_PARSE_HUGE | XML_PARSE_NOCDATA)) {
  if (document_ == nullptr || xmlDocGetRootElement(document_.get()) == nullptr) {
    throw std::runtime_error("not well-formed");
  }
}

Element Document::root() const { return Element(xmlDocGetRootElement(document_.get())); }

}  // namespace ncdm::netconf
