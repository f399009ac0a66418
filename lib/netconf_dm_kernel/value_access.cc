// Values of leaves: read from the application one by one, by subtree or over all instances of a
// path, and written.
//
// What is read is collected with its path. The walkers carry the path as a work record, to which
// each level adds its component and takes it off again; a leaf that fails loses its own value and
// no other.

#include <cstring>
#include <string_view>
#include <utility>

#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/call_timer.h"
#include "netconf_dm_kernel/children.h"
#include "netconf_dm_kernel/leaf_value.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace {

using TextPtr = nc::MallocPtr<char>;

TextPtr CopyText(std::string_view text) {
  TextPtr copy(static_cast<char*>(malloc(text.size() + 1)));
  if (copy != nullptr) {
    text.copy(copy.get(), text.size());
    copy.get()[text.size()] = '\0';
  }
  return copy;
}

// ---- Collecting ----

// Appends an entry, which takes the text over, with the path as its name. 0, or the join's result.
int Append(nc_dm_list_t* list, nc::MallocPtr<nc_dm_val_node_t> entry, TextPtr text,
           nc_dm_path_nodes_t* path) {
  const int joined = nc_dm_agent_comb_path_name(&entry->val_entry.dm_name, path, true);
  if (joined != 0) return joined;
  entry->val_entry.dm_val = text.release();
  ++list->cnt;
  nc::PushBack(&list->head, &entry.release()->lst);
  return 0;
}

nc::MallocPtr<nc_dm_val_node_t> NewEntry() {
  auto entry = nc::NewRecord<nc_dm_val_node_t>();
  if (entry == nullptr) NC_DM_LOG_ERROR("Failed to malloc for val_node!\n");
  return entry;
}

// The component of a child on the work path, for a scope.
class PushedComponent {
 public:
  PushedComponent(nc_dm_path_nodes_t* path, const nc_dm_agent_node_t& node) : path_(path) {
    const nc_int32 at = path->total_node++;
    const size_t len = strnlen(node.node_name, NC_DM_MAX_NAME_LEN);
    memcpy(path->nodes[at], node.node_name, len);
    path->nodes[at][len] = '\0';
    path->instances[at] = nc::IsInstance(node) ? node.instid : 0;
  }
  ~PushedComponent() {
    const nc_int32 at = --path_->total_node;
    path_->nodes[at][0] = '\0';
    path_->instances[at] = 0;
  }
  PushedComponent(const PushedComponent&) = delete;
  PushedComponent& operator=(const PushedComponent&) = delete;

 private:
  nc_dm_path_nodes_t* path_;
};

// The ids that nc_dm_get_ids gives for the leaves below a node, kept along the walk instead of
// being collected anew for each leaf. Its results are odd where ids are so many that it may run out
// of room; those are left to it.
class WalkIds {
 public:
  // Of the children of `node`.
  explicit WalkIds(const nc_dm_agent_node_t& node) {
    for (const auto* at = &node; at != nullptr; at = at->parent) Count(at->instid);
    nc_int32 i = cnt_;
    for (const auto* at = &node; at != nullptr && IsExact(); at = at->parent) {
      if (at->instid != 0) id_[--i] = at->instid;
    }
  }

  // Of the children of `node`, a child of the one that `outer` was made for.
  WalkIds(const WalkIds& outer, const nc_dm_agent_node_t& node) : WalkIds(outer) {
    Count(node.instid);
    if (node.instid != 0 && IsExact()) id_[cnt_ - 1] = node.instid;
  }

  // The ids of a leaf below, as a callback takes them. 0, or the result of nc_dm_get_ids.
  int Get(nc_dm_agent_node_t* leaf, nc_dm_id_array_t* ids) const {
    const bool has_own_id = leaf->node_type == NC_DM_NODE_TYPE_MULT_LEAF;
    if (cnt_ + (has_own_id ? 1 : 0) > kMaxExact) return nc_dm_get_ids(ids, leaf);
    memcpy(ids->id, id_, static_cast<size_t>(cnt_) * sizeof(id_[0]));
    ids->cnt = cnt_;
    if (has_own_id) ids->id[ids->cnt++] = leaf->instid;
    return 0;
  }

 private:
  static constexpr nc_int32 kMaxExact = NC_DM_MAX_DEPTH - 1;

  bool IsExact() const { return cnt_ <= kMaxExact; }
  void Count(nc_int64 instid) {
    if (instid != 0 && IsExact()) ++cnt_;
  }

  nc_int32 cnt_ = 0;  // above kMaxExact: too many, and `id_` means nothing
  nc_int64 id_[NC_DM_MAX_DEPTH] = {};
};

// ---- Walking ----

// Reads what is below a node, depth first.
class SubtreeReader {
 public:
  SubtreeReader(nc_dm_list_t* list, nc_dm_path_nodes_t* path) : list_(list), path_(path) {}

  void ReadChildren(const nc_dm_agent_node_t& node, const WalkIds& ids) {
    for (auto& child : nc::Records<nc_dm_agent_node_t>(&node.sub_lst)) {
      switch (child.node_type) {
        case NC_DM_NODE_TYPE_MULT_MODE:
          NC_DM_LOG_INFO("Get multi-mode node '%s' values, ignore.\n", child.node_name);
          break;
        case NC_DM_NODE_TYPE_MULT_LEAF_MODE:
          NC_DM_LOG_INFO("Get multi-leaf mode node '%s' values, ignore.\n", child.node_name);
          break;
        default:
          NC_DM_LOG_INFO("Get node '%s' values, instid %lld.\n", child.node_name,
                         nc::LongLong(child.instid));
          ReadChild(&child, ids);
      }
    }
  }

 private:
  void ReadChild(nc_dm_agent_node_t* child, const WalkIds& ids) {
    if (path_->total_node >= NC_DM_MAX_DEPTH) {
      NC_DM_LOG_ERROR("The depth of path is too deep!\n");
      return;
    }
    const PushedComponent component(path_, *child);
    if (child->node_type == NC_DM_NODE_TYPE_LEAF || child->node_type == NC_DM_NODE_TYPE_MULT_LEAF) {
      nc_dm_id_array_t leaf_ids = {};
      if (ids.Get(child, &leaf_ids) == 0) {
        nc_dm_agent_get_node_val(list_, child, &leaf_ids, path_);
      }
    } else {
      ReadChildren(*child, WalkIds(ids, *child));
    }
  }

  nc_dm_list_t* list_;
  nc_dm_path_nodes_t* path_;
};

int ReadLeaf(nc_dm_list_t* list, nc_dm_path_nodes_t* path, nc_dm_agent_node_t* leaf) {
  nc_dm_id_array_t ids = {};
  const int result = nc_dm_get_ids(&ids, leaf);
  return result != 0 ? result : nc_dm_agent_get_node_val(list, leaf, &ids, path);
}

int ReadLeafList(nc_dm_list_t* list, nc_dm_path_nodes_t* path, nc_dm_agent_node_t* mode) {
  nc_dm_id_array_t ids = {};
  const int result = nc_dm_get_ids(&ids, mode);
  if (result != 0) return result;
  if (mode->parent == nullptr) {
    NC_DM_LOG_ERROR("The current node parent is null, can't get multiple child values!\n");
    return -1;
  }
  return nc_dm_agent_get_mul_child_vals(list, mode->parent, mode->node_name, &ids, path);
}

// Reads a matched node's subtree; the components behind `bg` are not part of its path.
void ReadMatch(nc_dm_list_t* list, nc_dm_path_nodes_t* path, nc_dm_agent_node_t* node, int bg) {
  const nc_int32 total_node = std::exchange(path->total_node, bg + 1);
  nc_dm_agent_get_nodes_vals(list, path, node);
  path->total_node = total_node;
}

}  // namespace

// ---- One leaf ----

int nc_dm_agent_get_node_val(nc_dm_list_t* list, nc_dm_agent_node_t* curr_node,
                             nc_dm_id_array_t* id_array, nc_dm_path_nodes_t* path_nodes) {
  if (list == nullptr || curr_node == nullptr || id_array == nullptr || path_nodes == nullptr) {
    NC_DM_LOG_ERROR("Input parameter is invalid.\n");
    return -3;
  }
  if (nc::IsForeignToRequest(*curr_node)) {
    NC_DM_LOG_INFO("The node '%s' isn't created by netconf client, ignore.\n",
                   curr_node->node_name);
    return 0;
  }
  NC_DM_LOG_INFO("Get node '%s' value.\n", curr_node->node_name);
  if (curr_node->get == nullptr) {
    NC_DM_LOG_ERROR("Node '%s' has no get-value method!\n", curr_node->node_name);
    return -1;
  }
  nc::LeafValue value;
  const int result =
      nc::Timed(&g_nc_dm_mng_info.get_time, [&] { return value.Get(*curr_node, id_array); });
  if (result != 0) return result;
  if (value.IsTooLong()) {
    NC_DM_LOG_ERROR("The length of dm val is too long.\n");
    return -1;
  }
  const std::string_view text = value.Text(curr_node->val_type);
  TextPtr copy;
  if (text.data() != nullptr) {
    copy = CopyText(text);
    if (copy == nullptr) return -1;
  }
  nc::MallocPtr<nc_dm_val_node_t> entry = NewEntry();
  if (entry == nullptr) return -1;
  entry->val_entry.src = curr_node->src;
  return Append(list, std::move(entry), std::move(copy), path_nodes);
}

char* nc_dm_agent_get_node_srlz_val(nc_dm_agent_node_t* node, nc_dm_id_array_t* id_array) {
  if (node == nullptr) {
    NC_DM_LOG_ERROR("The node input is null!\n");
    return nullptr;
  }
  if (id_array == nullptr) {
    NC_DM_LOG_ERROR("The id array input is null!\n");
    return nullptr;
  }
  nc::LeafValue value;
  const std::string_view text = value.Read(*node, id_array);
  if (text.data() == nullptr) return nullptr;
  TextPtr copy = CopyText(text);
  if (copy == nullptr) NC_DM_LOG_ERROR("Failed to serialize the node value!\n");
  return copy.release();
}

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is fixed
int nc_dm_agent_add_path_reslist(nc_dm_list_t* list, char* value, nc_dm_path_nodes_t* path_nodes) {
  if (list == nullptr || value == nullptr) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return -1;
  }
  nc::MallocPtr<nc_dm_val_node_t> entry = NewEntry();
  if (entry == nullptr) return -1;
  TextPtr copy = CopyText(value);
  if (copy == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc for value of val_node!\n");
    return -1;
  }
  return Append(list, std::move(entry), std::move(copy), path_nodes);
}

int nc_dm_agent_set_node_val(nc_dm_agent_node_t* curr_node, nc_dm_id_array_t* id_array, char* val) {
  if (curr_node == nullptr || val == nullptr) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return -3;
  }
  NC_DM_LOG_INFO("Set node '%s' values.\n", curr_node->node_name);
  if (curr_node->set == nullptr) {
    NC_DM_LOG_ERROR("Node '%s' has no set-value method!\n", curr_node->node_name);
    return -1;
  }
  char* object = nullptr;
  const int converted = nc_dm_unserialize_val(val, &object, curr_node->val_type);
  const TextPtr typed(object);
  if (converted != 0) return converted;
  const int result = curr_node->set(id_array, typed.get());
  if (result != 0) NC_DM_LOG_ERROR("Failed to set node value, error = %d!\n", result);
  return result;
}

// ---- Many leaves ----

int nc_dm_agent_get_mul_child_vals(nc_dm_list_t* list, nc_dm_agent_node_t* parent, char* child_name,
                                   nc_dm_id_array_t* id_array, nc_dm_path_nodes_t* path_nodes) {
  if (parent == nullptr || child_name == nullptr || id_array == nullptr || path_nodes == nullptr ||
      path_nodes->total_node < 1 || path_nodes->total_node > NC_DM_MAX_DEPTH) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return 0;
  }
  if (id_array->cnt >= NC_DM_MAX_DEPTH) {
    NC_DM_LOG_ERROR("The id_array->cnt is larger than id_array->id buffer size!\n");
    return 0;
  }
  const nc_int32 cnt = ++id_array->cnt;
  nc_int64* instance = &path_nodes->instances[path_nodes->total_node - 1];
  for (auto& child : nc::SameNamed(&parent->sub_lst, child_name)) {
    if (child.node_type != NC_DM_NODE_TYPE_MULT_LEAF) continue;
    if (cnt < 1) {
      NC_DM_LOG_ERROR("The current mult-leaf node id_array->cnt is 0!\n");
    } else {
      id_array->id[cnt - 1] = child.instid;
    }
    *instance = child.instid;
    nc_dm_agent_get_node_val(list, &child, id_array, path_nodes);
  }
  *instance = 0;
  id_array->cnt = cnt - 1;
  return 0;
}

int nc_dm_agent_get_nodes_vals(nc_dm_list_t* list, nc_dm_path_nodes_t* path_nodes,
                               nc_dm_agent_node_t* curr_node) {
  if (list == nullptr || path_nodes == nullptr || curr_node == nullptr) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return -3;
  }
  switch (curr_node->node_type) {
    case NC_DM_NODE_TYPE_LEAF:
    case NC_DM_NODE_TYPE_MULT_LEAF:
      return ReadLeaf(list, path_nodes, curr_node);
    case NC_DM_NODE_TYPE_MULT_LEAF_MODE:
      return ReadLeafList(list, path_nodes, curr_node);
    default:
      SubtreeReader(list, path_nodes).ReadChildren(*curr_node, WalkIds(*curr_node));
      return 0;
  }
}

nc_dm_agent_match_status_t nc_dm_agent_match_get_vals(nc_dm_list_t* list, list_head* dm_root,
                                                      nc_dm_path_nodes_t* path_nodes, int bg,
                                                      int mt) {
  if (list == nullptr || dm_root == nullptr || path_nodes == nullptr ||
      path_nodes->total_node <= 0 || bg < 0 || bg >= NC_DM_MAX_DEPTH) {
    NC_DM_LOG_ERROR("Input parameter is invalid!\n");
    return NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
  }
  const nc_int64 instance = path_nodes->instances[bg];
  for (auto& node : nc::SameNamed(dm_root, path_nodes->nodes[bg])) {
    NC_DM_LOG_INFO("Match node '%s', instid %lld, continue match descendants to get values.\n",
                   node.node_name, nc::LongLong(node.instid));
    path_nodes->instances[bg] = node.node_type == NC_DM_NODE_TYPE_MULT_OBJECT ? node.instid : 0;
    if (bg >= mt) {
      ReadMatch(list, path_nodes, &node, bg);
    } else {
      nc_dm_agent_match_get_vals(list, &node.sub_lst, path_nodes, bg + 1, mt);
    }
  }
  path_nodes->instances[bg] = instance;
  return NC_DM_CLIENT_MATCH_STATUS_OBJECT;
}
