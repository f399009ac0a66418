#include "server/netconf/xml_text.h"

namespace ncdm::netconf {
namespace {

constexpr std::string_view kSpecial = "&<>\r";
constexpr std::string_view kSpecialInAttribute = "&<>\"\t\n\r";

std::string_view Reference(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\t':
      return "&#9;";
    case '\n':
      return "&#10;";
    default:
      return "&#13;";
  }
}

void AppendWithReferences(std::string* xml, std::string_view text, std::string_view special) {
  for (;;) {
    const std::size_t plain = text.find_first_of(special);
    xml->append(text.substr(0, plain));
    if (plain == std::string_view::npos) {
      return;
    }
    xml->append(Reference(text[plain]));
    text.remove_prefix(plain + 1);
  }
}

}  // namespace

void AppendEscaped(std::string* xml, std::string_view text) {
  AppendWithReferences(xml, text, kSpecial);
}

void AppendEscapedAttribute(std::string* xml, std::string_view text) {
  AppendWithReferences(xml, text, kSpecialInAttribute);
}

std::string Escaped(std::string_view text) {
  std::string xml;
  AppendEscaped(&xml, text);
  return xml;
}

}  // namespace ncdm::netconf
