// Registration of a leaf that is written with ids, or ranges of ids, in place of list markers: the
// schema path enters the tree once, and every instance that the ranges name is queued.
//
//   a.{1-2}.b.{5-6}.c   schema a.{i}.b.{i}.c, instances a.1. a.1.b.5. a.1.b.6. a.2. a.2.b.5.
//   a.2.b.6.
//
// Ranges multiply, so a short path can ask for more instances than any memory holds. One call
// queues at most NC_DM_MAX_RANGE_PATHS; what would be more, and ids that are no positive 32-bit
// number, are refused before anything is queued.

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "netconf_dm_agent/register_leaf.h"
#include "netconf_dm_kernel/registration_queue.h"
#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_util/log.h"

namespace {

constexpr size_t kPathSize = 336;
constexpr size_t kBoundSize = 32;
constexpr size_t kSegmentSize = NC_DM_MAX_PATH_LEN + 1;
constexpr std::string_view kListMarker = "{i}.";

// ---- A text in a caller's buffer of fixed size ----

class BoundedText {
 public:
  // Takes over the text that stands in the buffer.
  BoundedText(char* buffer, size_t size)
      : buffer_(buffer), size_(size), len_(strnlen(buffer, size - 1)) {}

  size_t len() const { return len_; }
  void Cut(size_t len) { buffer_[len_ = len] = '\0'; }

  // Appends all of it or nothing.
  [[nodiscard]] bool Append(std::string_view text) {
    if (text.size() >= size_ - len_) return false;
    memcpy(buffer_ + len_, text.data(), text.size());
    Cut(len_ + text.size());
    return true;
  }

  [[nodiscard]] bool AppendId(nc_int64 id) {
    char digits[std::numeric_limits<nc_int64>::digits10 + 2];
    const auto result = std::to_chars(digits, digits + sizeof digits, id);
    return Append({digits, static_cast<size_t>(result.ptr - digits)}) && Append(".");
  }

 private:
  char* buffer_;
  size_t size_;
  size_t len_;
};

// ---- Ranges ----

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

// A positive number that no 64-bit id can be becomes the largest one, so that it is not taken for a
// negative one.
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

// How many instance paths the ranges give; nothing when they are too many, or one has ids that no
// entry can have.
std::optional<nc_int64> CountPaths(const nc_int64 (*insts)[2], int cnt) {
  nc_int64 paths = 0;
  nc_int64 entries = 1;  // of the lists so far
  for (int i = 0; i < cnt; ++i) {
    const auto [low, high] = insts[i];
    if (low > high) break;
    if (low < 0 || high > std::numeric_limits<nc_int32>::max()) return std::nullopt;
    entries *= high - low + 1;
    paths += entries;
    if (paths > NC_DM_MAX_RANGE_PATHS) return std::nullopt;
  }
  return paths;
}

bool AreFewEnough(const nc_int64 (*insts)[2], int cnt) {
  if (CountPaths(insts, cnt)) return true;
  NC_DM_LOG_ERROR("The ranges give too many instance paths, at most %d are allowed!\n",
                  NC_DM_MAX_RANGE_PATHS);
  return false;
}

// ---- Queueing the instances ----

int QueueInstance(char* path) {
  if (nc_dm_agent_reg(path) == 0) return 0;
  NC_DM_LOG_ERROR("Failed to register instance path '%s'!\n", path);
  return -1;
}

// Queues the entries of range `i` behind the path, and those of the ranges in it. What follows the
// last range is never appended: an instance path ends with an id.
int Expand(char* path, const char (*name)[kSegmentSize], const nc_int64 (*insts)[2], int i,
           int total) {
  if (i == total) return 0;
  BoundedText text(path, kPathSize);
  if (!text.Append(name[i])) {
    NC_DM_LOG_ERROR("Failed to register instance path '%s'!\n", path);
    return -1;
  }
  const size_t len = text.len();
  const auto [low, high] = insts[i];
  for (nc_int64 id = low; id <= high; ++id) {
    if (!text.AppendId(id)) {
      NC_DM_LOG_ERROR("Failed to register instance path '%s'!\n", path);
      return -1;
    }
    if (QueueInstance(path) != 0) return -1;
    if (Expand(path, name, insts, i + 1, total) != 0) {
      NC_DM_LOG_ERROR("Failed to assemble instance path: %d!\n", i + 1);
      return -1;
    }
    text.Cut(len);
  }
  return 0;
}

// ---- Taking the path apart ----

// A path as texts with ranges between them. There is one text more than there are ranges.
struct SplitPath {
  char texts[NC_DM_MAX_DEPTH + 1][kSegmentSize];
  nc_int64 ranges[NC_DM_MAX_DEPTH][2];
  int range_cnt;
};

bool Split(nc_dm_path_nodes_t* path, SplitPath* split) {
  for (nc_int32 i = 0; i < path->total_node; ++i) {
    if (nc_dm_agent_found_insts(path->nodes[i], split->ranges[split->range_cnt])) {
      ++split->range_cnt;
      continue;
    }
    BoundedText text(split->texts[split->range_cnt], kSegmentSize);
    if (!text.Append(path->nodes[i])) return false;
    if (i < path->total_node - 1 && !text.Append(".")) return false;
  }
  return true;
}

// A number behind a component becomes that component's list marker.
bool JoinWithoutIds(const nc_dm_path_nodes_t& path, BoundedText* schema) {
  for (nc_int32 i = 0; i < path.total_node; ++i) {
    if (!schema->Append(path.nodes[i])) return false;
    if (i == path.total_node - 1) break;
    if (!schema->Append(".")) return false;
    if (!nc_dm_is_str_num(path.nodes[i + 1])) continue;
    if (!schema->Append(kListMarker)) return false;
    ++i;
  }
  return true;
}

bool JoinWithoutRanges(const SplitPath& split, BoundedText* schema) {
  if (!schema->Append(split.texts[0])) return false;
  for (int i = 1; i <= split.range_cnt; ++i) {
    if (!schema->Append(kListMarker) || !schema->Append(split.texts[i])) return false;
  }
  return true;
}

}  // namespace

bool nc::HasRangeForm(const char* component) { return SplitRange(component).has_value(); }

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is fixed
bool nc_dm_agent_found_insts(char* node, nc_int64 insts[2]) {
  if (node == nullptr || insts == nullptr) return false;
  const std::optional<Bounds> bounds = SplitRange(node);
  return bounds && ParseBound(bounds->low, &insts[0]) && ParseBound(bounds->high, &insts[1]);
}

int nc_dm_agent_assemble_reg(char* path, char name[][NC_DM_MAX_PATH_LEN + 1], nc_int64 insts[][2],
                             int i, int total) {
  if (path == nullptr || name == nullptr || i < 0 || i > total) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return -1;
  }
  if (total == 0) return QueueInstance(name[i]);
  if (insts == nullptr || !AreFewEnough(insts + i, total - i)) return -1;
  return Expand(path, name, insts, i, total);
}

int nc_dm_agent_mul_reg(char* dm_name, nc_dm_val_type_t val_type, int flag, nc_dm_set_fn set,
                        nc_dm_get_fn get, nc_dm_create_fn create, nc_dm_delete_fn delete_fn,
                        nc_dm_get_attr_fn get_attr, int (* /*reserved*/)(void)) {
  if (!nc::IsRegistrablePath(dm_name)) return -1;
  NC_DM_LOG_INFO("Register path:%s\n", dm_name);
  if (!nc::IsClientInitialized() || !nc::IsTreeInitialized()) return -1;
  nc_dm_path_nodes_t path = {};
  const int parsed = nc_dm_parse(dm_name, &path, false);
  if (parsed != 0) return parsed;

  SplitPath split = {};
  char schema_path[kPathSize] = {};
  BoundedText schema(schema_path, sizeof schema_path);
  if (!Split(&path, &split) ||
      !(split.range_cnt == 0 ? JoinWithoutIds(path, &schema) : JoinWithoutRanges(split, &schema))) {
    NC_DM_LOG_ERROR("Invalid dm_name length!\n");
    return -1;
  }
  if (!AreFewEnough(split.ranges, split.range_cnt)) return -1;

  nc_dm_agent_node_t leaf = {};
  leaf.dm_path = schema_path;
  leaf.val_type = val_type;
  leaf.flag = flag;
  leaf.set = set;
  leaf.get = get;
  leaf.create = create;
  leaf.delete_ = delete_fn;
  leaf.get_attr = get_attr;
  // Made before the leaf enters the tree: a leaf that is there already is never announced again, so
  // that short memory must not keep it from being announced once.
  nc::PendingPtr announcement = nc::NewNamedPending(NC_DM_MSG_TYPE_REG, schema_path);
  if (announcement == nullptr) {
    NC_DM_LOG_ERROR("Failed to register data mode to server!\n");
    return -1;
  }
  announcement->attr = flag;
  const nc::Numbers numbers =
      split.range_cnt == 0 ? nc::Numbers::kInstanceIds : nc::Numbers::kRefused;
  const int registered = nc::RegisterLeaf(&leaf, numbers);
  if (registered < 0) {
    NC_DM_LOG_ERROR("Failed to register data mode path!\n");
    return -1;
  }
  if (registered != 1) {
    NC_DM_LOG_INFO("A new data mode path register to server.\n");
    NC_DM_LOG_INFO("Register path[%s]to server.\n", schema_path);
    nc::Queue(std::move(announcement));
  }
  char instance_path[kPathSize] = {};
  if (nc_dm_agent_assemble_reg(instance_path, split.texts, split.ranges, 0, split.range_cnt) != 0) {
    NC_DM_LOG_ERROR("Failed to assemble instance path!\n");
    return -1;
  }
  return 0;
}
