#ifndef TESTS_NETCONF_DM_UTIL_LOG_LINES_H_
#define TESTS_NETCONF_DM_UTIL_LOG_LINES_H_

#include <string>
#include <string_view>
#include <vector>

#include "support/fake_platform.h"

namespace ncdm_test {

// The texts logged so far with that prefix, without it, in order.
inline std::vector<std::string> LogLines(std::string_view prefix) {
  const std::string start = std::string(prefix) + " ";
  std::vector<std::string> lines;
  for (const std::string& text : LogCapture::Get().Texts()) {
    if (text.starts_with(start)) lines.push_back(text.substr(start.size()));
  }
  return lines;
}

inline std::vector<std::string> ErrorLines() { return LogLines(kErrorPrefix); }
inline std::vector<std::string> InfoLines() { return LogLines(kInfoPrefix); }
inline std::vector<std::string> PacketLines() { return LogLines(kPacketPrefix); }

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_UTIL_LOG_LINES_H_
