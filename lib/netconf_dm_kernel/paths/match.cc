// Matching: from a parsed path to the deepest node of the tree that it reaches.
//
// A list level is resolved through the index of its instances: the instance tree of the parent,
// which is reached through any instance of the name, or the hash table of the mode node. A mode
// node itself is a match only where it is asked for.

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_kernel/instances/find_instance.h"
#include "netconf_dm_kernel/matching.h"
#include "netconf_dm_kernel/tree/siblings.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/list_marker.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

using Node = nc_dm_agent_node_t;

nc_dm_agent_match_status_t StatusOf(const Node* node) {
  if (node == nullptr) return NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
  switch (node->node_type) {
    case NC_DM_NODE_TYPE_LEAF:
      return NC_DM_CLIENT_MATCH_STATUS_LEAF;
    case NC_DM_NODE_TYPE_MULT_LEAF:
      return NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF;
    case NC_DM_NODE_TYPE_MULT_LEAF_MODE:
      return NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF_MODE;
    default:
      return NC_DM_CLIENT_MATCH_STATUS_OBJECT;
  }
}

bool IsPath(const nc_dm_path_nodes_t* path_nodes) {
  return path_nodes != nullptr && path_nodes->total_node >= 1 &&
         path_nodes->total_node <= NC_DM_MAX_DEPTH;
}

nc_dm_agent_match_status_t InvalidArguments() {
  return nc::Refuse(NC_DM_CLIENT_MATCH_STATUS_MAX, "Input parameter is invalid!\n");
}

// The id that a path gives for a list level, if it still gives one.
struct WantedId {
  bool is_given;
  nc_int64 id;
};

// The effect of a child of the right name on the search: the match, or null, which ends the search
// without one; or nothing, and the search goes on behind the entry.
using Outcome = std::optional<Node*>;

constexpr Outcome kEnd = nullptr;
constexpr Outcome kPass = std::nullopt;

Outcome ThroughMode(Node* mode, bool is_wanted_itself, WantedId wanted) {
  if (is_wanted_itself) return mode;
  if (mode->hash_tab == nullptr || !wanted.is_given || wanted.id == 0) return kPass;
  return nc_dm_agent_get_mode_node_inst_by_hash_tab(mode->hash_tab, wanted.id);
}

nc_dm_bin_tree_t* InstanceTreeOf(const Node& instance) {
  if (instance.parent == nullptr) return nc_dm_agent_get_bin_tree(nullptr, instance.node_name);
  return nc::FindInstanceTree(instance.parent, instance.node_name);
}

Outcome ThroughInstance(Node* instance, WantedId wanted) {
  if (!wanted.is_given) return kEnd;
  if (const nc_dm_bin_tree_t* tree = InstanceTreeOf(*instance)) {
    return nc::InstanceOf(nc_dm_agent_search_bin_tree_node_by_instid(tree->root_byid, wanted.id));
  }
  NC_DM_LOG_ERROR("Failed to get node '%s' binary tree!\n", instance->node_name);
  return instance->instid == wanted.id ? instance : kPass;
}

Outcome Through(Node* node, WantedId wanted, int flag) {
  switch (node->node_type) {
    case NC_DM_NODE_TYPE_MULT_MODE:
      return ThroughMode(node, (flag & NC_DM_MATCH_LIST_MODE) != 0, wanted);
    case NC_DM_NODE_TYPE_MULT_LEAF_MODE:
      return ThroughMode(node, (flag & NC_DM_MATCH_LEAF_LIST_MODE) != 0, wanted);
    case NC_DM_NODE_TYPE_MULT_OBJECT:
    case NC_DM_NODE_TYPE_MULT_LEAF:
      return ThroughInstance(node, wanted);
    case NC_DM_NODE_TYPE_LEAF:
    case NC_DM_NODE_TYPE_SINGLE_OBJECT:
      return node;
    default:
      return kPass;
  }
}

// The node among `siblings` that one component of a path leads to, or null.
Node* MatchComponent(const list_head* siblings, const char* name, WantedId wanted, int flag) {
  for (Node& node : nc::SameNamed(siblings, name)) {
    if (const Outcome outcome = Through(&node, wanted, flag)) return *outcome;
  }
  return nullptr;
}

}  // namespace

nc_dm_agent_match_status_t nc_dm_agent_match(list_head* dm_root, nc_dm_path_nodes_t* path_nodes,
                                             nc_dm_agent_node_t** last_node, int flag) {
  if (dm_root == nullptr || !IsPath(path_nodes) || last_node == nullptr) return InvalidArguments();
  path_nodes->match_cnt = 0;
  *last_node = nullptr;
  const list_head* siblings = dm_root;
  for (int i = 0; i < path_nodes->total_node; ++i) {
    Node* node =
        MatchComponent(siblings, path_nodes->nodes[i], {true, path_nodes->instances[i]}, flag);
    if (node == nullptr) break;
    *last_node = node;
    ++path_nodes->match_cnt;
    siblings = &node->sub_lst;
  }
  return StatusOf(*last_node);
}

nc_dm_agent_match_status_t nc_dm_agent_match_index(list_head* dm_root,
                                                   nc_dm_path_nodes_t* path_nodes,
                                                   nc_dm_agent_node_t** last_node, int bg, int mt) {
  if (dm_root == nullptr || !IsPath(path_nodes) || last_node == nullptr || bg < 0) {
    return InvalidArguments();
  }
  *last_node = nullptr;
  const list_head* siblings = dm_root;
  for (int i = bg; i <= mt && i < path_nodes->total_node; ++i) {
    Node* node = nc::FindChild(siblings, path_nodes->nodes[i]);
    if (node == nullptr) return NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
    *last_node = node;
    siblings = &node->sub_lst;
  }
  return StatusOf(*last_node);
}

nc_dm_agent_match_status_t nc_dm_agent_match_id_arr(list_head* dm_root,
                                                    nc_dm_path_nodes_t* path_nodes,
                                                    nc_dm_agent_node_t** last_node,
                                                    nc_dm_id_array_t* id_array, int flag) {
  if (dm_root == nullptr || !IsPath(path_nodes) || last_node == nullptr || id_array == nullptr) {
    return InvalidArguments();
  }
  id_array->match_cnt = 0;
  path_nodes->match_cnt = 0;
  *last_node = nullptr;
  const int ids = std::min(id_array->cnt, NC_DM_MAX_DEPTH);
  const list_head* siblings = dm_root;
  for (int i = 0; i < path_nodes->total_node; ++i) {
    const bool has_id = id_array->match_cnt < ids;
    const WantedId wanted{has_id, has_id ? id_array->id[id_array->match_cnt] : 0};
    Node* node =
        MatchComponent(siblings, path_nodes->nodes[i], wanted, flag & NC_DM_MATCH_LEAF_LIST_MODE);
    if (node == nullptr) break;
    *last_node = node;
    ++path_nodes->match_cnt;
    if (nc::IsInstance(*node)) {
      ++id_array->match_cnt;
      if ((flag & NC_DM_MATCH_FILL_IDS) != 0) path_nodes->instances[i] = node->instid;
    }
    siblings = &node->sub_lst;
  }
  return StatusOf(*last_node);
}

nc_dm_agent_match_status_t nc_dm_agent_reg_match(list_head* dm_root, nc_dm_path_nodes_t* path_nodes,
                                                 nc_dm_agent_node_t** last_node) {
  if (dm_root == nullptr || !IsPath(path_nodes) || path_nodes->match_cnt < 0 ||
      last_node == nullptr) {
    return InvalidArguments();
  }
  *last_node = nullptr;
  if (nc::IsEmpty(dm_root)) return NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
  const list_head* siblings = dm_root;
  nc_int32& cursor = path_nodes->match_cnt;
  while (cursor < path_nodes->total_node) {
    const char* name = path_nodes->nodes[cursor];
    if (nc::IsListMarker(name)) {
      ++cursor;
      continue;
    }
    const char* next = cursor + 1 < path_nodes->total_node ? path_nodes->nodes[cursor + 1] : "";
    const bool has_id = nc_dm_is_str_num(next);
    Node* node = has_id ? nc::FindInstance(siblings, name,
                                           static_cast<nc_int64>(strtoull(next, nullptr, 10)))
                        : nc::FindChild(siblings, name);
    if (node == nullptr) break;
    cursor += has_id ? 2 : 1;
    *last_node = node;
    siblings = &node->sub_lst;
  }
  return StatusOf(*last_node);
}

int nc_dm_agent_check_width(const nc_dm_agent_node_t* last_node) {
  if (last_node == nullptr) return 0;
  const size_t width = nc::CountChildren(last_node) + 1;
  if (width <= NC_DM_MAX_WIDTH) return 0;
  NC_DM_LOG_ERROR("The width of node which want to regiset is too big, node width: %d!\n",
                  static_cast<int>(width));
  return NC_DM_FAULT_CODE_MEM;
}

nc_dm_agent_node_t* nc_dm_agent_search_mode_node(nc_dm_agent_node_t* parent, char* node_name) {
  if (parent == nullptr || node_name == nullptr) return nullptr;
  return nc::FindSchemaChild(&parent->sub_lst, node_name);
}

bool nc_dm_agent_has_inst_node(nc_dm_agent_node_t* parent, char* node_name, nc_int64 instid) {
  if (parent == nullptr || node_name == nullptr) return false;
  return nc::FindInstance(&parent->sub_lst, node_name, instid) != nullptr;
}
