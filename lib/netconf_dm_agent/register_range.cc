// Registration of a leaf that is written with ids, or ranges of ids, in place of list markers: the
// schema path enters the tree once, and every instance that the ranges name is queued.
//
//   a.{1-2}.b.{5-6}.c   schema a.{i}.b.{i}.c, instances a.1. a.1.b.5. a.1.b.6. a.2. a.2.b.5.
//   a.2.b.6.
//
// Ranges multiply, so a short path can ask for more instances than any memory holds. One call
// queues at most NC_DM_MAX_RANGE_PATHS; what would be more, and ids that no signed 32-bit number
// holds, are refused before anything is queued.

#include <string_view>
#include <utility>

#include "netconf_dm_agent/bounded_text.h"
#include "netconf_dm_agent/id_range.h"
#include "netconf_dm_agent/register_leaf.h"
#include "netconf_dm_agent/submit.h"
#include "netconf_dm_kernel/pending_record.h"
#include "netconf_dm_kernel/tree/ready.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

constexpr size_t kPathSize = 336;
constexpr size_t kSegmentSize = NC_DM_MAX_PATH_LEN + 1;
constexpr std::string_view kListMarker = "{i}.";

// ---- Queueing the instances ----

int RefusePath(const char* path) {
  NC_DM_LOG_ERROR("Failed to register instance path '%s'!\n", path);
  return -1;
}

int QueueInstance(char* path) { return nc_dm_agent_reg(path) == 0 ? 0 : RefusePath(path); }

// Queues the entries of range `i` behind the path, and those of the ranges in it. What follows the
// last range is never appended: an instance path ends with an id.
int Expand(char* path, const char (*name)[kSegmentSize], const nc_int64 (*insts)[2], int i,
           int total) {
  if (i == total) return 0;
  nc::BoundedText text(path, kPathSize);
  if (!text.Append(name[i])) return RefusePath(path);
  const size_t len = text.len();
  const auto [low, high] = insts[i];
  for (nc_int64 id = low; id <= high; ++id) {
    if (!text.AppendId(id)) return RefusePath(path);
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
    nc::BoundedText text(split->texts[split->range_cnt], kSegmentSize);
    if (!text.Append(path->nodes[i])) return false;
    if (i < path->total_node - 1 && !text.Append(".")) return false;
  }
  return true;
}

// A number behind a component becomes that component's list marker.
bool JoinWithoutIds(const nc_dm_path_nodes_t& path, nc::BoundedText* schema) {
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

bool JoinWithoutRanges(const SplitPath& split, nc::BoundedText* schema) {
  if (!schema->Append(split.texts[0])) return false;
  for (int i = 1; i <= split.range_cnt; ++i) {
    if (!schema->Append(kListMarker) || !schema->Append(split.texts[i])) return false;
  }
  return true;
}

}  // namespace

int nc_dm_agent_assemble_reg(char* path, char name[][NC_DM_MAX_PATH_LEN + 1], nc_int64 insts[][2],
                             int i, int total) {
  if (path == nullptr || name == nullptr || i < 0 || i > total) {
    return nc::Refuse("Input parameter is invalid!\n");
  }
  if (total == 0) return QueueInstance(name[i]);
  if (insts == nullptr || !nc::AreFewEnough(insts + i, total - i)) return -1;
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
  nc::BoundedText schema(schema_path, sizeof schema_path);
  if (!Split(&path, &split) ||
      !(split.range_cnt == 0 ? JoinWithoutIds(path, &schema) : JoinWithoutRanges(split, &schema))) {
    return nc::Refuse("Invalid dm_name length!\n");
  }
  if (!nc::AreFewEnough(split.ranges, split.range_cnt)) return -1;

  nc_dm_agent_node_t leaf = {};
  leaf.dm_path = schema_path;
  leaf.val_type = val_type;
  leaf.flag = flag;
  leaf.set = set;
  leaf.get = get;
  leaf.create = create;
  leaf.delete_ = delete_fn;
  leaf.get_attr = get_attr;
  // Made before the leaf enters the tree: a leaf that is there already is not announced again, so
  // if memory were too short afterwards, it would never be announced.
  nc::PendingPtr announcement = nc::NewNamedPending(NC_DM_MSG_TYPE_REG, schema_path);
  if (announcement == nullptr) {
    return nc::Refuse("Failed to register data mode to server!\n");
  }
  announcement->attr = flag;
  const nc::Numbers numbers =
      split.range_cnt == 0 ? nc::Numbers::kInstanceIds : nc::Numbers::kRefused;
  const int registered = nc::RegisterLeaf(&leaf, numbers);
  if (registered < 0) {
    return nc::Refuse("Failed to register data mode path!\n");
  }
  if (registered != 1) {
    NC_DM_LOG_INFO("A new data mode path register to server.\n");
    NC_DM_LOG_INFO("Register path[%s]to server.\n", schema_path);
    nc::Submit(std::move(announcement));
  }
  char instance_path[kPathSize] = {};
  if (nc_dm_agent_assemble_reg(instance_path, split.texts, split.ranges, 0, split.range_cnt) != 0) {
    return nc::Refuse("Failed to assemble instance path!\n");
  }
  return 0;
}
