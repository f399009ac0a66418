// Values of many leaves, read from the application: of a leaf-list, of a subtree, over all
// instances of a path.
//
// The walkers carry the path as a text, to which each level adds its component and takes it off
// again; a leaf that fails loses its own value and no other.

#include <algorithm>
#include <string_view>

#include "netconf_dm_kernel/read.h"
#include "netconf_dm_kernel/read/read_leaf.h"
#include "netconf_dm_kernel/read/walk_ids.h"
#include "netconf_dm_kernel/shortcuts/prefetch.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/path_text.h"
#include "netconf_dm_util/refuse.h"

namespace {

int ReadLeafOf(nc_dm_list_t* list, const nc_dm_path_nodes_t& path, nc_dm_agent_node_t* leaf) {
  nc_dm_id_array_t ids = {};
  const int result = nc_dm_get_ids(&ids, leaf);
  return result != 0 ? result : nc::ReadLeaf(list, leaf, &ids, path);
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

// The place of a walk: the path's text, which has `depth` components, and the ids along it.
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
  if (place->ids.Get(leaf, &ids) == 0) nc::ReadLeaf(list, leaf, &ids, place->text);
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
    if (nc::HasOneValue(*node)) {
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
