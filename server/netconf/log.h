// What the server says of itself, for its administrator: lines on standard error, where a service
// manager collects them.
#ifndef NCDM_SERVER_NETCONF_LOG_H_
#define NCDM_SERVER_NETCONF_LOG_H_

#include <functional>
#include <string_view>

namespace ncdm::netconf {

// One line. What a peer may have chosen stands in it with control characters replaced.
void Log(std::string_view line);

// Where the lines go instead, without a line feed. Nothing: standard error again.
void set_log_sink(std::function<void(std::string_view line)> sink);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_LOG_H_
