// A message that passed, as the trace shows it.
#ifndef NCDM_SERVER_CONSOLE_TRACE_LINE_H_
#define NCDM_SERVER_CONSOLE_TRACE_LINE_H_

#include <chrono>
#include <string>
#include <string_view>

namespace ncdm::console {

// "14:03:27.051 model > EDIT ...", in local time; "?" for an agent that has not given its name.
std::string TraceLine(std::chrono::system_clock::time_point time, std::string_view agent,
                      std::string_view line);

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_TRACE_LINE_H_
