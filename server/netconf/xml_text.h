// Text as it stands inside XML.
#ifndef NCDM_SERVER_NETCONF_XML_TEXT_H_
#define NCDM_SERVER_NETCONF_XML_TEXT_H_

#include <string>
#include <string_view>

namespace ncdm::netconf {

// Appends `text` as the content of an element: what XML gives a meaning is escaped. A carriage
// return is too, because a parser would turn it into a line feed.
void AppendEscaped(std::string* xml, std::string_view text);
std::string Escaped(std::string_view text);

// The same for an attribute's value in double quotes, in which a parser would turn white space into
// blanks.
void AppendEscapedAttribute(std::string* xml, std::string_view text);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_XML_TEXT_H_
