// NC_DM_DEBUG opens the agent's log from outside: what an agent writes before anybody can send it a
// message, its start above all.
//
// The agent links the platform, never the platform the agent. So the agent's call is a weak symbol
// here, as fs_get_flash_home is one there: the dynamic linker has bound it when this library's
// constructor runs, before main and before the agent's first line, if the agent was loaded with the
// program. In a program without an agent it is null.

#include <errno.h>
#include <limits.h>
#include <stdlib.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>

#include "printk_syslog.h"

extern "C" void nc_dm_agent_dbg_set(int dbg_type, bool is_open) __attribute__((weak));

namespace {

struct Level {
  std::string_view name;
  int bit;
};

constexpr Level kLevels[] = {{"error", 1}, {"info", 2}, {"packet", 8}, {"timing", 16}};

std::optional<int> BitsOfNumber(std::string_view word) {
  if (word.empty() || word.find_first_not_of("0123456789") != word.npos) return std::nullopt;
  errno = 0;
  const long number = strtol(word.data(), nullptr, 10);  // ends at the comma
  if (errno != 0 || number > INT_MAX) return std::nullopt;
  return static_cast<int>(number);
}

std::optional<int> BitsOfWord(std::string_view word) {
  const auto* level = std::find_if(std::begin(kLevels), std::end(kLevels),
                                   [word](const Level& known) { return known.name == word; });
  if (level != std::end(kLevels)) return level->bit;
  return BitsOfNumber(word);
}

void OpenLevel(std::string_view word) {
  if (const auto bits = BitsOfWord(word)) {
    nc_dm_agent_dbg_set(*bits, true);
    return;
  }
  printk_syslog_ext(4, "UNKNOW_MODULE", "DEBUG", LOG_TYPE_DEBUG,
                    "NC_DM_DEBUG: '%.*s' is none of error, info, packet, timing, and no number\n",
                    static_cast<int>(std::min<size_t>(word.size(), 64)), word.data());
}

__attribute__((constructor)) void OpenLevels() {
  const char* levels = getenv("NC_DM_DEBUG");
  if (levels == nullptr || nc_dm_agent_dbg_set == nullptr) return;
  const int saved_errno = errno;
  std::string_view rest = levels;
  while (!rest.empty()) {
    const size_t end = std::min(rest.find(','), rest.size());
    if (end > 0) OpenLevel({rest.data(), end});
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  errno = saved_errno;
}

}  // namespace
