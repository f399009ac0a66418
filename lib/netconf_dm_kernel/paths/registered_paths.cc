// The registered paths, rebuilt from the tree: one for each leaf of the schema, as the application
// wrote it.
//
// The paths are read from the schema nodes. The instances of a list that has a mode node are copies
// of it and are passed over, so that a reconnection costs the same with ten entries and with a
// million; but for those below which a path was registered by their numbers. An entry registered by
// its number has no mode node: several of one name may hold the same leaf, and a path that is there
// already is not taken again.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_kernel/registration.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/list_marker.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/probe_table.h"
#include "netconf_dm_util/refuse.h"
#include "netconf_dm_util/text_hash.h"

namespace {

constexpr size_t kMaxListNameLen = NC_DM_MAX_NAME_LEN - 1 - nc::kListMarker.size();

// Appends the component of a node; a list's name is cut so that its marker has room.
void PushComponent(nc_dm_path_nodes_t* path, const nc_dm_agent_node_t& node) {
  char* component = path->nodes[path->total_node++];
  const bool is_list = nc::IsListKind(node);
  const size_t len = strnlen(node.node_name, is_list ? kMaxListNameLen : NC_DM_MAX_NAME_LEN);
  char* end = std::copy_n(node.node_name, len, component);
  if (is_list) {
    *end++ = '.';
    end = std::copy(nc::kListMarker.begin(), nc::kListMarker.end(), end);
  }
  *end = '\0';
}

// The texts seen so far, which it borrows.
class SeenTexts {
 public:
  enum class Answer { kNew, kSeen, kNoMemory };

  Answer Add(const char* text) {
    const char** slot = texts_.Ensure(text);
    if (slot == nullptr) return Answer::kNoMemory;
    if (*slot != nullptr) return Answer::kSeen;
    *slot = text;
    return Answer::kNew;
  }

 private:
  struct Rules {
    using Key = const char*;
    static uint32_t Hash(Key text) { return nc::HashOfText(text); }
    static uint32_t HashOf(const char* slot) { return nc::HashOfText(slot); }
    static bool IsFree(const char* slot) { return slot == nullptr; }
    static bool Holds(const char* slot, Key text) { return strcmp(slot, text) == 0; }
  };

  nc::ProbeTable<const char*, Rules> texts_;
};

// True if the instance is a copy of a mode node beside it, and holds no path of its own.
bool IsCopy(const nc_dm_agent_node_t& instance) {
  if (!nc::IsCopiedInstance(instance) || instance.origin == NC_DM_NODE_ORIGIN_EXTENDED) {
    return false;
  }
  const nc_dm_bin_tree_t* instances = nc::FindInstanceTree(instance.parent, instance.node_name);
  return instances != nullptr && instances->data != nullptr;
}

// The children that give paths of their own, in list order: all but the plain copies of a mode
// node.
template <typename Visit>
int ForEachOriginal(nc_dm_agent_node_t* parent, Visit visit) {
  size_t left = nc::CountOriginals(parent);
  const char* copied_name = nullptr;  // copies of one list mostly stand behind each other
  for (auto& child : nc::Records<nc_dm_agent_node_t>(&parent->sub_lst)) {
    if (nc::IsInstance(child)) {
      if (copied_name != nullptr && child.origin == NC_DM_NODE_ORIGIN_COPIED &&
          nc::HasName(child, copied_name)) {
        continue;
      }
      copied_name = IsCopy(child) ? child.node_name : nullptr;
      if (copied_name != nullptr) continue;
    }
    const int result = visit(&child);
    if (result != 0) return result;
    if (--left == 0) break;
  }
  return 0;
}

// Joins the work path to the text of a registered path.
nc::MallocPtr<char> JoinComponents(const nc_dm_path_nodes_t& path, bool is_leaf) {
  constexpr size_t kSpare = 6;
  size_t size = kSpare;
  for (nc_int32 i = 0; i < path.total_node; ++i) size += strlen(path.nodes[i]) + 1;
  nc::MallocPtr<char> joined = nc::NewText(size);
  if (joined == nullptr) return nullptr;
  char* end = joined.get();
  for (nc_int32 i = 0; i < path.total_node; ++i) {
    end = std::copy_n(path.nodes[i], strlen(path.nodes[i]), end);
    if (!is_leaf || i < path.total_node - 1) *end++ = '.';
  }
  return joined;
}

// Collects the paths of a subtree. The work path ends with the current node.
class PathCollector {
 public:
  PathCollector(nc_dm_list_t* list, nc_dm_path_nodes_t* path, SeenTexts* seen)
      : list_(list), path_(path), seen_(seen) {}

  int Collect(nc_dm_agent_node_t* node) {
    if (nc::IsLeafKind(*node)) return CollectLeaf(*node);
    return ForEachOriginal(node, [this](nc_dm_agent_node_t* child) { return CollectChild(child); });
  }

  int CollectLeaf(const nc_dm_agent_node_t& node) {
    NC_DM_LOG_INFO("Get register node '%s'.\n", node.node_name);
    auto entry = nc::NewRecord<nc_dm_reg_node_t>();
    if (entry == nullptr) return nc::Refuse("Failed to malloc for reg_node!\n");
    const bool is_leaf = nc::IsLeafKind(node);
    nc::MallocPtr<char> joined = JoinComponents(*path_, is_leaf);
    const auto answer = joined == nullptr ? SeenTexts::Answer::kNoMemory : seen_->Add(joined.get());
    if (answer == SeenTexts::Answer::kNoMemory) {
      return nc::Refuse("Failed to malloc for dm_name!\n");
    }
    if (answer == SeenTexts::Answer::kSeen) return 0;
    entry->reg_entry.dm_path = joined.release();
    if (is_leaf && path_->total_node > 0) {
      entry->reg_entry.attr = node.flag | (node.index != 0 ? NC_DM_REG_ATTR_INDEX : 0);
    }
    ++list_->cnt;
    nc::PushBack(&list_->head, &entry.release()->lst);
    return 0;
  }

 private:
  int CollectChild(nc_dm_agent_node_t* child) {
    if (path_->total_node >= NC_DM_MAX_DEPTH) return nc::Refuse("Failed to get nodes register!\n");
    PushComponent(path_, *child);
    const int result = Collect(child);
    if (result != 0) NC_DM_LOG_ERROR("Failed to get nodes register!\n");
    path_->nodes[--path_->total_node][0] = '\0';
    return result;
  }

  nc_dm_list_t* list_;
  nc_dm_path_nodes_t* path_;
  SeenTexts* seen_;
};

bool CheckWalkArguments(const nc_dm_list_t* list, const nc_dm_path_nodes_t* path_nodes,
                        const nc_dm_agent_node_t* curr_node) {
  if (list == nullptr) return nc::Refuse(false, "Input parameter 'list' is null!\n");
  if (path_nodes == nullptr) return nc::Refuse(false, "Input parameter 'path_nodes' is null!\n");
  if (curr_node == nullptr) return nc::Refuse(false, "Input parameter 'curr_node' is null!\n");
  return true;
}

}  // namespace

int nc_dm_agent_get_node_reg(nc_dm_list_t* list, nc_dm_path_nodes_t* path_nodes,
                             nc_dm_agent_node_t* curr_node) {
  if (!CheckWalkArguments(list, path_nodes, curr_node)) return -1;
  SeenTexts seen;
  return PathCollector(list, path_nodes, &seen).CollectLeaf(*curr_node);
}

int nc_dm_agent_get_nodes_regs(nc_dm_list_t* list, nc_dm_path_nodes_t* path_nodes,
                               nc_dm_agent_node_t* curr_node) {
  if (!CheckWalkArguments(list, path_nodes, curr_node)) return -1;
  SeenTexts seen;
  return PathCollector(list, path_nodes, &seen).Collect(curr_node);
}

int nc_dm_agent_get_regs_list(list_head* trees_list, nc_dm_list_t* list) {
  if (list == nullptr) return nc::Refuse("Input parameter 'list' is null!\n");
  if (trees_list == nullptr) return nc::Refuse("Input parameter 'trees_list' is null!\n");
  NC_DM_LOG_INFO("Get all local register trees.\n");
  SeenTexts seen;
  for (auto& root : nc::Records<nc_dm_agent_node_t>(trees_list)) {
    nc_dm_path_nodes_t path = {};
    PushComponent(&path, root);
    const int result = PathCollector(list, &path, &seen).Collect(&root);
    if (result != 0) {
      NC_DM_LOG_ERROR("Failed to get nodes register paths.\n");
      nc_dm_agent_free_reg_list(list);
      return result;
    }
  }
  NC_DM_LOG_INFO("Get agent's register paths list successfully.\n");
  return 0;
}
