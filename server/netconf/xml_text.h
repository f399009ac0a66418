// Text as it stands inside XML.
#ifndef NCDM_SERVER_NETCONF_XML_TEXT_H_
#define NCDM_SERVER_NETCONF_XML_TEXT_H_

#include <string>
#include <string_view>

namespace ncdm::netconf {

// Appends `text` with what XML gives a meaning escaped: for content, and for attribute values in
// double quotes. White space other than blanks is escaped too, because a parser would turn it into
// blanks inside an attribute.
void AppendEscaped(std::string* xml, std::string_view text);
std::string Escaped(std::string_view text);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_XML_TEXT_H_
