// Values of leaves: read from the application one by one, by subtree or over all instances of a
// path.
//
// What is read is collected with its path. The walkers carry the path as a text, to which each
// level adds its component and takes it off again; a leaf that fails loses its own value and no
// other.

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "netconf_dm_kernel.h"
#include "netconf_dm_kernel/call_timer.h"
#include "netconf_dm_kernel/read/leaf_value.h"
#include "netconf_dm_kernel/read/walk_ids.h"
#include "netconf_dm_kernel/shortcuts/prefetch.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_stub/value_node.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/path_text.h"
#include "netconf_dm_util/refuse.h"

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

// ---- One leaf ----

// Appends an entry. 0, or -1, which is logged.
int Append(nc_dm_list_t* list, std::string_view name, std::string_view value, nc_int32 src) {
  nc::ValueNodePtr entry = nc::NewValueNode(name, value);
  if (entry == nullptr) return nc::Refuse("Failed to malloc for val_node!\n");
  entry->val_entry.src = src;
  ++list->cnt;
  nc::PushBack(&list->head, &entry.release()->lst);
  return 0;
}

// The text of a path record, joined when it is asked for.
class RecordPath {
 public:
  explicit RecordPath(const nc_dm_path_nodes_t& path) : path_(path) {}
  int Join() { return nc::JoinPath(path_, true, &text_); }
  std::string_view View() const { return text_.View(); }

 private:
  const nc_dm_path_nodes_t& path_;
  nc::PathText text_;
};

// The text of a leaf's path, which a walk has written already.
class WrittenPath {
 public:
  explicit WrittenPath(const nc::PathText& text) : text_(text) {}
  int Join() const { return text_.Fits() ? 0 : nc::Refuse("The length of path is too long!\n"); }
  std::string_view View() const { return text_.View(); }

 private:
  const nc::PathText& text_;
};

// Reads a leaf and appends its value. 0, also for a leaf that the request does not see; otherwise
// what failed, which is logged.
template <typename Path>
int ReadLeaf(nc_dm_list_t* list, nc_dm_agent_node_t* leaf, nc_dm_id_array_t* ids, Path path) {
  if (nc::IsForeignToRequest(*leaf)) {
    NC_DM_LOG_INFO("The node '%s' isn't created by netconf client, ignore.\n", leaf->node_name);
    return 0;
  }
  NC_DM_LOG_INFO("Get node '%s' value.\n", leaf->node_name);
  if (leaf->get == nullptr) {
    NC_DM_LOG_ERROR("Node '%s' has no get-value method!\n", leaf->node_name);
    return -1;
  }
  nc::LeafValue value;
  const int result = nc::Timed(&nc::context.get_time, [&] { return value.Get(*leaf, ids); });
  if (result != 0) return result;
  if (value.IsTooLong()) return nc::Refuse("The length of dm val is too long.\n");
  const int joined = path.Join();
  return joined != 0 ? joined : Append(list, path.View(), value.Text(leaf->val_type), leaf->src);
}

// ---- Walking ----

int ReadLeafOf(nc_dm_list_t* list, const nc_dm_path_nodes_t& path, nc_dm_agent_node_t* leaf) {
  nc_dm_id_array_t ids = {};
  const int result = nc_dm_get_ids(&ids, leaf);
  return result != 0 ? result : ReadLeaf(list, leaf, &ids, RecordPath(path));
}

int ReadLeafList(nc_dm_list_t* list, nc_dm_path_nodes_t* path, nc_dm_agent_node_t* mode) {
  nc_dm_id_array_t ids = {};
  const int result = nc_dm_get_ids(&ids, mode);
  if (result != 0) return result;
  if (mode->parent == nullptr) {
    return nc::Refuse("The current node parent is null, can't get multiple child values!\n");
  }
  return nc_dm_agent_get_mul_child_vals(list, mode->parent, mode->node_name, &ids, path);
}

// Where a walk is: the path's text, which has `depth` components, and the ids along it.
struct Place {
  nc::PathText text;
  nc::WalkIds ids;
  int depth = 0;
};

// Of an entry: some eight leaves, as many as are read while they come.
constexpr size_t kPrefetchedBytes = 2048;

// Goes down to an object's children for a scope.
class Descent {
 public:
  Descent(Place* place, std::string_view name, nc_int64 id, nc_int64 instid)
      : place_(place), text_(&place->text), ids_mark_(place->ids.Mark()) {
    place->text.Push(name, id);
    place->ids.Push(instid);
    ++place->depth;
  }
  ~Descent() {
    --place_->depth;
    place_->ids.CutTo(ids_mark_);
  }
  Descent(const Descent&) = delete;
  Descent& operator=(const Descent&) = delete;

 private:
  Place* place_;
  nc::PathTextScope text_;
  nc_int32 ids_mark_;
};

void ReadLeafAt(nc_dm_list_t* list, Place* place, nc_dm_agent_node_t* leaf, std::string_view name,
                nc_int64 id) {
  const nc::PathTextScope scope(&place->text);
  place->text.PutLast(name, id);
  nc_dm_id_array_t ids = {};
  if (place->ids.Get(leaf, &ids) == 0) ReadLeaf(list, leaf, &ids, WrittenPath(place->text));
}

void ReadChildren(nc_dm_list_t* list, Place* place, const nc_dm_agent_node_t& node);

void ReadChild(nc_dm_list_t* list, Place* place, nc_dm_agent_node_t* child) {
  if (place->depth >= NC_DM_MAX_DEPTH) {
    NC_DM_LOG_ERROR("The depth of path is too deep!\n");
    return;
  }
  const std::string_view name = nc::ComponentName(child->node_name);
  if (child->node_type == NC_DM_NODE_TYPE_LEAF) {
    ReadLeafAt(list, place, child, name, 0);
  } else if (child->node_type == NC_DM_NODE_TYPE_MULT_LEAF) {
    ReadLeafAt(list, place, child, name, child->instid);
  } else {
    const bool is_entry = child->node_type == NC_DM_NODE_TYPE_MULT_OBJECT;
    const Descent descent(place, name, is_entry ? child->instid : 0, child->instid);
    ReadChildren(list, place, *child);
  }
}

// Reads what is below a node, depth first.
void ReadChildren(nc_dm_list_t* list, Place* place, const nc_dm_agent_node_t& node) {
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
        nc::PrefetchNextEntry(child, kPrefetchedBytes);
        ReadChild(list, place, &child);
    }
  }
}

// Reads all nodes that a path leads to, whatever their ids. Nothing is read through the schema of a
// list or leaf-list: it has no entry, so the application would be asked with an id too few.
class MatchReader {
 public:
  MatchReader(nc_dm_list_t* list, nc_dm_path_nodes_t* path, int first, int last)
      : list_(list), path_(path), last_(last), place_{{*path, first}, {}, first} {}

  // Looks at the siblings that the component at the walk's depth names.
  void Visit(const list_head* siblings) {
    const int at = place_.depth;
    const std::string_view name = nc::ComponentName(path_->nodes[at]);
    const nc_int64 instance = path_->instances[at];
    const nc_dm_agent_node_t* parent = nullptr;
    place_.ids = {};
    for (auto& node : nc::SameNamed(siblings, path_->nodes[at])) {
      if (nc::IsMode(node)) continue;
      NC_DM_LOG_INFO("Match node '%s', instid %lld, continue match descendants to get values.\n",
                     node.node_name, nc::LongLong(node.instid));
      nc::PrefetchNextEntry(node, kPrefetchedBytes);
      const nc_int64 id = nc::IsInstance(node) ? node.instid : 0;
      path_->instances[at] = id;
      if (at < last_) {
        VisitChildren(node, name, id);
      } else {
        if (node.parent != parent) place_.ids = nc::WalkIds(node.parent);
        parent = node.parent;
        ReadMatch(&node, name, id);
      }
    }
    path_->instances[at] = instance;
  }

 private:
  void VisitChildren(const nc_dm_agent_node_t& node, std::string_view name, nc_int64 id) {
    if (place_.depth + 1 >= NC_DM_MAX_DEPTH) {
      NC_DM_LOG_ERROR("Input parameter is invalid!\n");
      return;
    }
    const Descent descent(&place_, name, id, 0);
    Visit(&node.sub_lst);
  }

  // The components behind are not part of the node's path.
  void ReadMatch(nc_dm_agent_node_t* node, std::string_view name, nc_int64 id) {
    if (node->node_type == NC_DM_NODE_TYPE_LEAF || node->node_type == NC_DM_NODE_TYPE_MULT_LEAF) {
      ReadLeafAt(list_, &place_, node, name, id);
    } else {
      const Descent descent(&place_, name, id, node->instid);
      ReadChildren(list_, &place_, *node);
    }
  }

  nc_dm_list_t* list_;
  nc_dm_path_nodes_t* path_;
  int last_;
  Place place_;
};

}  // namespace

// ---- One leaf ----

int nc_dm_agent_get_node_val(nc_dm_list_t* list, nc_dm_agent_node_t* curr_node,
                             nc_dm_id_array_t* id_array, nc_dm_path_nodes_t* path_nodes) {
  if (list == nullptr || curr_node == nullptr || id_array == nullptr || path_nodes == nullptr) {
    return nc::Refuse(-3, "Input parameter is invalid.\n");
  }
  return ReadLeaf(list, curr_node, id_array, RecordPath(*path_nodes));
}

char* nc_dm_agent_get_node_srlz_val(nc_dm_agent_node_t* node, nc_dm_id_array_t* id_array) {
  if (node == nullptr) return nc::Refuse(nullptr, "The node input is null!\n");
  if (id_array == nullptr) return nc::Refuse(nullptr, "The id array input is null!\n");
  nc::LeafValue value;
  const std::string_view text = value.Read(*node, id_array);
  if (text.data() == nullptr) return nullptr;
  TextPtr copy = CopyText(text);
  if (copy == nullptr) NC_DM_LOG_ERROR("Failed to serialize the node value!\n");
  return copy.release();
}

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is fixed
int nc_dm_agent_add_path_reslist(nc_dm_list_t* list, char* value, nc_dm_path_nodes_t* path_nodes) {
  if (list == nullptr || value == nullptr) return nc::Refuse("Input parameter is invalid!\n");
  if (path_nodes == nullptr) return nc::Refuse("Input parameter is invalid!\n");
  RecordPath path(*path_nodes);
  const int joined = path.Join();
  return joined != 0 ? joined : Append(list, path.View(), value, NC_DM_NODE_SRC_NONE);
}

// ---- Many leaves ----

int nc_dm_agent_get_mul_child_vals(nc_dm_list_t* list, nc_dm_agent_node_t* parent, char* child_name,
                                   nc_dm_id_array_t* id_array, nc_dm_path_nodes_t* path_nodes) {
  if (parent == nullptr || child_name == nullptr || id_array == nullptr || path_nodes == nullptr ||
      path_nodes->total_node < 1 || path_nodes->total_node > NC_DM_MAX_DEPTH) {
    return nc::Refuse(0, "Input parameter is invalid!\n");
  }
  if (id_array->cnt >= NC_DM_MAX_DEPTH) {
    return nc::Refuse(0, "The id_array->cnt is larger than id_array->id buffer size!\n");
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
    return nc::Refuse(-3, "Input parameter is invalid!\n");
  }
  switch (curr_node->node_type) {
    case NC_DM_NODE_TYPE_LEAF:
    case NC_DM_NODE_TYPE_MULT_LEAF:
      return ReadLeafOf(list, *path_nodes, curr_node);
    case NC_DM_NODE_TYPE_MULT_LEAF_MODE:
      return ReadLeafList(list, path_nodes, curr_node);
    default: {
      const int depth = std::min(path_nodes->total_node, NC_DM_MAX_DEPTH);
      Place place{{*path_nodes, depth}, nc::WalkIds(curr_node), depth};
      ReadChildren(list, &place, *curr_node);
      return 0;
    }
  }
}

nc_dm_agent_match_status_t nc_dm_agent_match_get_vals(nc_dm_list_t* list, list_head* dm_root,
                                                      nc_dm_path_nodes_t* path_nodes, int bg,
                                                      int mt) {
  if (list == nullptr || dm_root == nullptr || path_nodes == nullptr ||
      path_nodes->total_node <= 0 || bg < 0 || bg >= NC_DM_MAX_DEPTH) {
    return nc::Refuse(NC_DM_CLIENT_MATCH_STATUS_NO_EXIST, "Input parameter is invalid!\n");
  }
  MatchReader(list, path_nodes, bg, mt).Visit(dm_root);
  return NC_DM_CLIENT_MATCH_STATUS_OBJECT;
}
