// The matchers by plain walks of the sibling lists: slow, and obviously right. They log through the
// library, and search its instance trees and hash tables with its functions, so that the texts
// logged can be compared too.
#ifndef TESTS_NETCONF_DM_KERNEL_PATHS_REFERENCE_MATCH_H_
#define TESTS_NETCONF_DM_KERNEL_PATHS_REFERENCE_MATCH_H_

#include "netconf_dm_kernel/tree_fixture.h"

namespace ncdm_test::reference {

inline bool IsNamed(const Node* node, const char* name) {
  return strcmp(node->node_name, name) == 0;
}

inline nc_dm_agent_match_status_t StatusOf(const Node* node) {
  if (node == nullptr) return NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
  if (node->node_type == NC_DM_NODE_TYPE_LEAF) return NC_DM_CLIENT_MATCH_STATUS_LEAF;
  if (node->node_type == NC_DM_NODE_TYPE_MULT_LEAF) return NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF;
  if (node->node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE) {
    return NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF_MODE;
  }
  return NC_DM_CLIENT_MATCH_STATUS_OBJECT;
}

// An instance met by name. True: the walk is over, with `*match` or without.
inline bool MeetInstance(Node* node, char* name, nc_int64 id, Node** match) {
  const Tree* tree = nc_dm_agent_get_bin_tree(node->parent, name);
  if (tree != nullptr) {
    const nc_dm_bin_tree_node_t* entry =
        nc_dm_agent_search_bin_tree_node_by_instid(tree->root_byid, id);
    if (entry != nullptr && entry->data != nullptr) *match = static_cast<Node*>(entry->data);
    return true;
  }
  nc_dm_agent_dbg_msg(1, "Failed to get node '%s' binary tree!\n", name);
  if (node->instid == id) *match = node;
  return *match != nullptr;
}

inline nc_dm_agent_match_status_t Match(list_head* dm_root, nc_dm_path_nodes_t* path,
                                        Node** last_node, int flag) {
  path->match_cnt = 0;
  *last_node = nullptr;
  list_head* list = dm_root;
  for (int i = 0; i < path->total_node; ++i) {
    Node* match = nullptr;
    for (Node* node : NodesOf(list)) {
      if (!IsNamed(node, path->nodes[i])) continue;
      if (IsMode(node)) {
        const int itself = node->node_type == NC_DM_NODE_TYPE_MULT_MODE ? 8 : 4;
        if ((flag & itself) != 0) {
          match = node;
          break;
        }
        if (node->hash_tab != nullptr && path->instances[i] != 0) {
          match = nc_dm_agent_get_mode_node_inst_by_hash_tab(node->hash_tab, path->instances[i]);
          break;
        }
        continue;
      }
      if (IsInstance(node)) {
        if (MeetInstance(node, path->nodes[i], path->instances[i], &match)) break;
        continue;
      }
      match = node;
      break;
    }
    if (match == nullptr) break;
    *last_node = match;
    ++path->match_cnt;
    list = &match->sub_lst;
  }
  return StatusOf(*last_node);
}

inline nc_dm_agent_match_status_t MatchIdArr(list_head* dm_root, nc_dm_path_nodes_t* path,
                                             Node** last_node, nc_dm_id_array_t* ids, int flag) {
  ids->match_cnt = 0;
  path->match_cnt = 0;
  *last_node = nullptr;
  list_head* list = dm_root;
  for (int i = 0; i < path->total_node; ++i) {
    Node* match = nullptr;
    for (Node* node : NodesOf(list)) {
      if (!IsNamed(node, path->nodes[i])) continue;
      const bool has_id = ids->match_cnt < ids->cnt;
      if (IsMode(node)) {
        if (node->node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE && (flag & 4) != 0) {
          match = node;
          break;
        }
        if (node->hash_tab != nullptr && has_id && ids->id[ids->match_cnt] != 0) {
          match =
              nc_dm_agent_get_mode_node_inst_by_hash_tab(node->hash_tab, ids->id[ids->match_cnt]);
          break;
        }
        continue;
      }
      if (IsInstance(node)) {
        if (!has_id) break;
        if (MeetInstance(node, path->nodes[i], ids->id[ids->match_cnt], &match)) break;
        continue;
      }
      match = node;
      break;
    }
    if (match == nullptr) break;
    *last_node = match;
    ++path->match_cnt;
    if (IsInstance(match)) {
      ++ids->match_cnt;
      if ((flag & 1) != 0) path->instances[i] = match->instid;
    }
    list = &match->sub_lst;
  }
  return StatusOf(*last_node);
}

inline nc_dm_agent_match_status_t MatchIndex(list_head* dm_root, nc_dm_path_nodes_t* path,
                                             Node** last_node, int bg, int mt) {
  *last_node = nullptr;
  list_head* list = dm_root;
  for (int i = bg; i < path->total_node && i <= mt; ++i) {
    Node* match = nullptr;
    for (Node* node : NodesOf(list)) {
      if (match == nullptr && IsNamed(node, path->nodes[i])) match = node;
    }
    if (match == nullptr) return NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
    *last_node = match;
    list = &match->sub_lst;
  }
  return StatusOf(*last_node);
}

inline nc_dm_agent_match_status_t RegMatch(list_head* dm_root, nc_dm_path_nodes_t* path,
                                           Node** last_node) {
  *last_node = nullptr;
  if (dm_root->next == dm_root) return NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
  list_head* list = dm_root;
  while (path->match_cnt < path->total_node) {
    const int i = path->match_cnt;
    if (strcmp(path->nodes[i], "{i}") == 0) {
      ++path->match_cnt;
      continue;
    }
    Node* match = nullptr;
    for (Node* node : NodesOf(list)) {
      if (!IsNamed(node, path->nodes[i])) continue;
      if (i + 1 == path->total_node || !nc_dm_is_str_num(path->nodes[i + 1])) {
        match = node;
        path->match_cnt += 1;
        break;
      }
      if (node->instid == static_cast<nc_int64>(strtoull(path->nodes[i + 1], nullptr, 10))) {
        match = node;
        path->match_cnt += 2;
        break;
      }
    }
    if (match == nullptr) break;
    *last_node = match;
    list = &match->sub_lst;
  }
  return StatusOf(*last_node);
}

inline Node* SearchModeNode(Node* parent, const char* name) {
  for (Node* node : Children(parent)) {
    if (!IsInstance(node) && IsNamed(node, name)) return node;
  }
  return nullptr;
}

inline bool HasInstNode(Node* parent, const char* name, nc_int64 id) {
  for (const Node* node : Children(parent)) {
    if (IsNamed(node, name) && node->instid == id) return true;
  }
  return false;
}

}  // namespace ncdm_test::reference

#endif  // TESTS_NETCONF_DM_KERNEL_PATHS_REFERENCE_MATCH_H_
