// Reads and lookups by plain walks of the sibling lists: slow, and obviously right. They log
// through the library, so that the texts logged can be compared too.
#ifndef TESTS_NETCONF_DM_KERNEL_READ_REFERENCE_READ_H_
#define TESTS_NETCONF_DM_KERNEL_READ_REFERENCE_READ_H_

#include <string>
#include <vector>

#include "netconf_dm_kernel/paths/reference_match.h"

namespace ncdm_test::reference {

// "path=value@source", in order.
using ReadValues = std::vector<std::string>;

inline std::string ValueLine(const char* name, const char* value, int src) {
  return std::string(name) + "=" + (value != nullptr ? value : "(null)") + "@" +
         std::to_string(src);
}

inline std::string TakeText(char* text) {
  std::string copy = text != nullptr ? text : "(null)";
  free(text);
  return copy;
}

inline std::string NameOf(nc_dm_path_nodes_t* path) {
  char* name = nullptr;
  EXPECT_EQ(nc_dm_agent_comb_path_name(&name, path, true), 0);
  return TakeText(name);
}

inline bool IsForeign(const Node* leaf) {
  return g_nc_dm_mng_info.curr_dstype == NC_DM_DATASTORE_SDN && leaf->src != NC_DM_NODE_SRC_SDN;
}

// What both forms of reading a leaf have in common. False, and `*result`, on failure.
inline bool Ask(Node* node, nc_dm_id_array_t* ids, const char* too_long, int* result,
                std::string* text) {
  nc_dm_agent_dbg_msg(2, "Get node '%s' value.\n", node->node_name);
  *result = -1;
  if (node->get == nullptr) {
    nc_dm_agent_dbg_msg(1, "Node '%s' has no get-value method!\n", node->node_name);
    return false;
  }
  char buffer[257] = {};
  *result = node->get(ids, buffer);
  if (*result == -7) {
    nc_dm_agent_dbg_msg(1,
                        "Failed to get val from app, some object non-existent, leaf node '%s'!\n",
                        node->node_name);
    return false;
  }
  if (*result != 0) {
    nc_dm_agent_dbg_msg(1, "Failed to get val from app, node '%s'!\n", node->node_name);
    return false;
  }
  if (strlen(buffer) > 255) {
    nc_dm_agent_dbg_msg(1, "%s", too_long);
    *result = -1;
    return false;
  }
  char* serialized = nullptr;
  *result = nc_dm_serialize_val(&serialized, buffer, node->val_type);
  *text = TakeText(serialized);
  return true;
}

inline int GetNodeVal(ReadValues* values, Node* node, nc_dm_id_array_t* ids,
                      nc_dm_path_nodes_t* path) {
  if (IsForeign(node)) {
    nc_dm_agent_dbg_msg(2, "The node '%s' isn't created by netconf client, ignore.\n",
                        node->node_name);
    return 0;
  }
  int result = 0;
  std::string text;
  if (!Ask(node, ids, "The length of dm val is too long.\n", &result, &text)) return result;
  values->push_back(ValueLine(NameOf(path).c_str(), text.c_str(), node->src));
  return 0;
}

inline void GetMulChildVals(ReadValues* values, Node* parent, const char* name,
                            nc_dm_id_array_t* ids, nc_dm_path_nodes_t* path) {
  ++ids->cnt;
  for (Node* child : Children(parent)) {
    if (!IsNamed(child, name) || child->node_type != NC_DM_NODE_TYPE_MULT_LEAF) continue;
    ids->id[ids->cnt - 1] = child->instid;
    path->instances[path->total_node - 1] = child->instid;
    GetNodeVal(values, child, ids, path);
  }
  path->instances[path->total_node - 1] = 0;
  --ids->cnt;
}

inline int GetNodesVals(ReadValues* values, nc_dm_path_nodes_t* path, Node* node) {
  if (node == nullptr) {
    nc_dm_agent_dbg_msg(1, "Input parameter is invalid!\n");
    return -3;
  }
  nc_dm_id_array_t ids{};
  if (node->node_type == NC_DM_NODE_TYPE_LEAF || node->node_type == NC_DM_NODE_TYPE_MULT_LEAF) {
    const int result = nc_dm_get_ids(&ids, node);
    return result != 0 ? result : GetNodeVal(values, node, &ids, path);
  }
  if (node->node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE) {
    const int result = nc_dm_get_ids(&ids, node);
    if (result != 0) return result;
    if (node->parent == nullptr) {
      nc_dm_agent_dbg_msg(1, "The current node parent is null, can't get multiple child values!\n");
      return -1;
    }
    GetMulChildVals(values, node->parent, node->node_name, &ids, path);
    return 0;
  }
  for (Node* child : Children(node)) {
    if (child->node_type == NC_DM_NODE_TYPE_MULT_MODE) {
      nc_dm_agent_dbg_msg(2, "Get multi-mode node '%s' values, ignore.\n", child->node_name);
      continue;
    }
    if (child->node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE) {
      nc_dm_agent_dbg_msg(2, "Get multi-leaf mode node '%s' values, ignore.\n", child->node_name);
      continue;
    }
    nc_dm_agent_dbg_msg(2, "Get node '%s' values, instid %lld.\n", child->node_name,
                        static_cast<long long>(child->instid));
    if (path->total_node == NC_DM_MAX_DEPTH) {
      nc_dm_agent_dbg_msg(1, "The depth of path is too deep!\n");
      continue;
    }
    AppendComponent(path, child->node_name, IsInstance(child) ? child->instid : 0);
    GetNodesVals(values, path, child);
    path->instances[--path->total_node] = 0;
    path->nodes[path->total_node][0] = '\0';
  }
  return 0;
}

inline void MatchGetVals(ReadValues* values, const list_head* list, nc_dm_path_nodes_t* path,
                         int bg, int mt) {
  for (Node* node : NodesOf(list)) {
    if (!IsNamed(node, path->nodes[bg]) || IsMode(node)) continue;
    nc_dm_agent_dbg_msg(2,
                        "Match node '%s', instid %lld, continue match descendants to get values.\n",
                        node->node_name, static_cast<long long>(node->instid));
    path->instances[bg] = IsInstance(node) ? node->instid : 0;
    if (bg >= mt) {
      GetNodesVals(values, path, node);
    } else {
      MatchGetVals(values, &node->sub_lst, path, bg + 1, mt);
    }
  }
  path->instances[bg] = 0;
}

// "path" without the list markers.
inline void DropMarkers(nc_dm_path_nodes_t* path) {
  nc_dm_path_nodes_t kept{};
  for (int i = 0; i < path->total_node; ++i) {
    if (strcmp(path->nodes[i], "{i}") != 0) AppendComponent(&kept, path->nodes[i]);
  }
  *path = kept;
}

inline void Filter(ReadValues* values, char* name, const char* val, nc_dm_id_array_t* ids) {
  nc_dm_path_nodes_t path{};
  nc_dm_parse(name, &path, false);
  DropMarkers(&path);
  if (path.total_node == 0) {
    nc_dm_agent_dbg_msg(1, "The current filter_node->filter->name parse failed!\n");
    return;
  }
  nc_dm_id_array_t none{};
  if (ids == nullptr) {
    nc_dm_agent_dbg_msg(2, "Current filter '%s' id_array is null!\n", name);
    ids = &none;
  }
  Node* last = nullptr;
  switch (MatchIdArr(&g_nc_agent_dm.dm_root, &path, &last, ids, 5)) {
    case NC_DM_CLIENT_MATCH_STATUS_LEAF:
    case NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF:
      nc_dm_agent_dbg_msg(2, "The last node name: %s\n", last->node_name);
      if (val != nullptr) {
        values->push_back(ValueLine(NameOf(&path).c_str(), val, 0));
      } else if (GetNodeVal(values, last, ids, &path) != 0) {
        nc_dm_agent_dbg_msg(1, "Failed to get node '%s' value by id array!\n", last->node_name);
      }
      return;
    case NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF_MODE:
    case NC_DM_CLIENT_MATCH_STATUS_OBJECT:
      nc_dm_agent_dbg_msg(2, "The last object node name: %s\n", last->node_name);
      if (path.match_cnt == path.total_node) {
        nc_dm_agent_dbg_msg(2, "The path_nodes match_cnt has reached to total_node: %d.\n",
                            path.total_node);
        if (GetNodesVals(values, &path, last) != 0) {
          nc_dm_agent_dbg_msg(1, "Failed to get node '%s' descendant values!\n", last->node_name);
        }
      } else if (ids->match_cnt == ids->cnt) {
        MatchGetVals(values, &last->sub_lst, &path, path.match_cnt, path.total_node - 1);
      }
      return;
    default:
      nc_dm_agent_dbg_msg(1, "The dm'tree don't have this instance path!\n");
      nc_dm_agent_dbg_msg(1, "The last node is null!\n");
  }
}

inline int Show(ReadValues* values, char* name) {
  nc_dm_path_nodes_t path{};
  nc_dm_parse(name, &path, false);
  DropMarkers(&path);
  if (path.total_node == 0) return NC_DM_FAULT_CODE_PARSE;
  Node* last = nullptr;
  const int status = Match(&g_nc_agent_dm.dm_root, &path, &last, 0);
  nc_dm_agent_dbg_msg(2, "The last node match status is: %d\n", status);
  path.total_node = path.match_cnt;
  const int result = GetNodesVals(values, &path, last);
  if (result == 0) {
    nc_dm_agent_dbg_msg(2, "Filter subtree successfully!\n");
  } else {
    values->clear();
  }
  return result;
}

// The ids found, each as "3,7".
using FoundIds = std::vector<std::string>;

inline std::string IdsText(const nc_dm_id_array_t& ids) {
  std::string text;
  for (int i = 0; i < ids.cnt; ++i) text += (i > 0 ? "," : "") + std::to_string(ids.id[i]);
  return text;
}

inline void MatchGetIdArrays(FoundIds* found, const list_head* list, nc_dm_path_nodes_t* path,
                             const char* value, nc_dm_id_array_t* known, int bg, int mt,
                             int lists = 0) {
  for (Node* node : NodesOf(list)) {
    if (!IsNamed(node, path->nodes[bg]) || IsMode(node)) continue;
    nc_dm_agent_dbg_msg(2, "Match node: %s, instance: %lld, match name continue match.\n",
                        node->node_name, static_cast<long long>(node->instid));
    if (!IsInstance(node)) {
      path->instances[bg] = 0;
    } else if (known != nullptr && lists < known->cnt) {
      if (node->instid != known->id[lists]) continue;
      nc_dm_agent_dbg_msg(2, "Match node: %s, instance: %lld, math instance, continue match.\n",
                          node->node_name, static_cast<long long>(node->instid));
      path->instances[bg] = node->instid;
      known->match_cnt = std::max(known->match_cnt, lists + 1);
    } else {
      path->instances[bg] = node->instid;
    }
    if (bg < mt) {
      MatchGetIdArrays(found, &node->sub_lst, path, value, known, bg + 1, mt,
                       lists + (IsInstance(node) ? 1 : 0));
      continue;
    }
    const bool is_leaf =
        node->node_type == NC_DM_NODE_TYPE_LEAF || node->node_type == NC_DM_NODE_TYPE_MULT_LEAF;
    if (!is_leaf || value == nullptr) continue;
    if (IsForeign(node)) {
      nc_dm_agent_dbg_msg(2, "The node \"%s\" isn't created by netconf client, ignore.\n",
                          node->node_name);
      continue;
    }
    nc_dm_id_array_t ids{};
    for (int i = 0; i < path->total_node; ++i) {
      if (path->instances[i] != 0) ids.id[ids.cnt++] = path->instances[i];
    }
    int result = 0;
    std::string text;
    if (Ask(node, &ids, "The length of dm val is too long!\n", &result, &text) && text == value) {
      found->push_back(IdsText(ids));
    }
  }
  path->instances[bg] = 0;
}

}  // namespace ncdm_test::reference

#endif  // TESTS_NETCONF_DM_KERNEL_READ_REFERENCE_READ_H_
