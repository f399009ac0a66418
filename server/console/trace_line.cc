#include "server/console/trace_line.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "server/printable.h"

namespace ncdm::console {

std::string TraceLine(std::chrono::system_clock::time_point time, std::string_view agent,
                      std::string_view line) {
  const auto since_epoch =
      std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
  const auto seconds = static_cast<std::time_t>(since_epoch / 1000);
  std::tm local{};
  localtime_r(&seconds, &local);
  std::array<char, 16> clock{};
  std::strftime(clock.data(), clock.size(), "%H:%M:%S", &local);
  std::array<char, 8> milliseconds{};
  std::snprintf(milliseconds.data(), milliseconds.size(), ".%03d ",
                static_cast<int>(since_epoch % 1000));
  return std::string(clock.data()) + milliseconds.data() +
         (agent.empty() ? "?" : server::Printable(agent)) + " " + server::Printable(line);
}

}  // namespace ncdm::console
