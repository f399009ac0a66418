// Text of agents, made fit for people's eyes.
#ifndef NCDM_SERVER_PRINTABLE_H_
#define NCDM_SERVER_PRINTABLE_H_

#include <string>
#include <string_view>

namespace ncdm::server {

// The text with everything escaped that would begin a new line, that a terminal may obey, or that
// reorders what stands beside it: \n, \r and \t; \xNN for other control characters and for bytes
// that are no UTF-8; \uNNNN for the control characters, line separators and direction marks of
// Unicode. All else stands as it is, backslashes included.
std::string Printable(std::string_view text);

// The same in double quotes, with quotes and backslashes escaped too.
std::string Quoted(std::string_view text);

}  // namespace ncdm::server

#endif  // NCDM_SERVER_PRINTABLE_H_
