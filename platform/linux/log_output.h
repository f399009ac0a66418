// Writing to a log without ever waiting for it: what its reader cannot take at once is refused, and
// the caller counts it. An agent runs in its application's event loop, which a log that nobody
// reads must not stop.
#ifndef PLATFORM_LINUX_LOG_OUTPUT_H_
#define PLATFORM_LINUX_LOG_OUTPUT_H_

#include <string_view>

namespace zu {

// The longest text that a pipe takes as a whole or not at all.
inline constexpr size_t kLongestText = 2047;

// Writes `text`, at most kLongestText bytes, to the file, pipe, terminal or socket behind `fd`,
// whose own flags stay as they are. False when not all of it was taken. Raises no SIGPIPE.
bool WriteAtOnce(int fd, std::string_view text);

// False when the system's log daemon is there and its socket is full, so that syslog(3) would wait.
bool SyslogTakesRecord();

}  // namespace zu

#endif  // PLATFORM_LINUX_LOG_OUTPUT_H_
