// What the library has logged, line by line.
#ifndef TESTS_SUPPORT_LOG_LINES_H_
#define TESTS_SUPPORT_LOG_LINES_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/fake_platform.h"

namespace ncdm_test {

// In order: errors as "E text", information as "I text", packets as "P text"; anything else as it
// is.
inline std::vector<std::string> LogLines() {
  constexpr std::pair<std::string_view, const char*> kMarks[] = {
      {kErrorPrefix, "E"}, {kInfoPrefix, "I"}, {kPacketPrefix, "P"}};
  std::vector<std::string> lines = LogCapture::Get().Texts();
  for (std::string& line : lines) {
    for (const auto& [prefix, mark] : kMarks) {
      if (line.starts_with(prefix)) line.replace(0, prefix.size(), mark);
    }
  }
  return lines;
}

// Those with a mark, without it.
inline std::vector<std::string> LogLines(std::string_view mark) {
  std::vector<std::string> lines;
  for (const std::string& line : LogLines()) {
    if (line.starts_with(mark)) lines.push_back(line.substr(mark.size()));
  }
  return lines;
}

inline std::vector<std::string> ErrorLines() { return LogLines("E "); }
inline std::vector<std::string> InfoLines() { return LogLines("I "); }
inline std::vector<std::string> PacketLines() { return LogLines("P "); }

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_LOG_LINES_H_
