#include "netconf_dm_agent/id_range.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>

#include "netconf_dm_util/log.h"

namespace {

constexpr size_t kBoundSize = 32;

struct Bounds {
  std::string_view low;
  std::string_view high;
};

// Splits at the first '{', '-' and '}' of the component, in this order; what stands around the
// braces is ignored.
std::optional<Bounds> SplitRange(std::string_view component) {
  const size_t open = component.find('{');
  const size_t dash = component.find('-');
  const size_t close = component.find('}');
  const bool in_order = open < dash && dash < close && close < component.size();
  if (!in_order) return std::nullopt;
  return Bounds{{component.data() + open + 1, dash - open - 1},
                {component.data() + dash + 1, close - dash - 1}};
}

// A positive number that is too large for an id becomes the largest id. Converted like the others
// it would come out negative.
nc_int64 ToId(const char* text, unsigned long long value) {
  constexpr nc_int64 kMax = std::numeric_limits<nc_int64>::max();
  const bool negative = strchr(text, '-') != nullptr;
  return !negative && value > static_cast<unsigned long long>(kMax) ? kMax
                                                                    : static_cast<nc_int64>(value);
}

bool ParseBound(std::string_view text, nc_int64* bound) {
  char digits[kBoundSize] = {};
  if (text.size() >= sizeof digits) return false;
  text.copy(digits, text.size());
  const int errno_before = errno;  // a bound out of range must not make the next value look so
  const unsigned long long value = strtoull(digits, nullptr, 10);
  // Compared with the value, not with errno: a bound of 34 is refused, and applications write 33
  // and 35 around it.
  const bool accepted = value != ERANGE;
  if (!accepted) NC_DM_LOG_ERROR("strtoul failed: %s, strerr: %s!\n", digits, strerror(errno));
  errno = errno_before;
  *bound = ToId(digits, value);
  return accepted;
}

// The number of instance paths that the ranges give; none when they are too many, or when a range
// has ids that no entry can have.
std::optional<nc_int64> CountPaths(const nc_int64 (*ranges)[2], int cnt) {
  nc_int64 paths = 0;
  nc_int64 entries = 1;  // of the lists so far
  for (int i = 0; i < cnt; ++i) {
    const auto [low, high] = ranges[i];
    if (low > high) break;
    if (low < 0 || high > std::numeric_limits<nc_int32>::max()) return std::nullopt;
    entries *= high - low + 1;
    paths += entries;
    if (paths > NC_DM_MAX_RANGE_PATHS) return std::nullopt;
  }
  return paths;
}

}  // namespace

namespace nc {

bool HasRangeForm(const char* component) { return SplitRange(component).has_value(); }

bool AreFewEnough(const nc_int64 (*ranges)[2], int cnt) {
  if (CountPaths(ranges, cnt)) return true;
  NC_DM_LOG_ERROR("The ranges give too many instance paths, at most %d are allowed!\n",
                  NC_DM_MAX_RANGE_PATHS);
  return false;
}

}  // namespace nc

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is fixed
bool nc_dm_agent_found_insts(char* node, nc_int64 insts[2]) {
  if (node == nullptr || insts == nullptr) return false;
  const std::optional<Bounds> bounds = SplitRange(node);
  return bounds && ParseBound(bounds->low, &insts[0]) && ParseBound(bounds->high, &insts[1]);
}
