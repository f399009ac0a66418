// A tree to work on, and the plain view of it: every question about the tree is answered here by a
// walk of its lists, with no help from its indexes.
#ifndef TESTS_NETCONF_DM_KERNEL_TREE_FIXTURE_H_
#define TESTS_NETCONF_DM_KERNEL_TREE_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "netconf_dm_kernel.h"
#include "support/debug_mask.h"
#include "support/fake_platform.h"
#include "support/log_lines.h"

namespace ncdm_test {

using Node = nc_dm_agent_node_t;
using Tree = nc_dm_bin_tree_t;

// ---- Lists ----

inline Node* NodeOf(list_head* link) { return reinterpret_cast<Node*>(link); }

inline std::vector<Node*> NodesOf(const list_head* list) {
  std::vector<Node*> nodes;
  for (list_head* at = list->next; at != list; at = at->next) nodes.push_back(NodeOf(at));
  return nodes;
}

inline std::vector<Node*> Children(const Node* node) { return NodesOf(&node->sub_lst); }
inline std::vector<Node*> Roots() { return NodesOf(&g_nc_agent_dm.dm_root); }

inline std::vector<Node*> KeyChildren(const Node* node) {
  std::vector<Node*> nodes;
  for (list_head* at = node->sub_key_lst.next; at != &node->sub_key_lst; at = at->next) {
    nodes.push_back(reinterpret_cast<Node*>(reinterpret_cast<char*>(at) - offsetof(Node, key_lst)));
  }
  return nodes;
}

inline std::vector<Tree*> Trees(const Node* node) {
  std::vector<Tree*> trees;
  for (list_head* at = node->btree_lst.next; at != &node->btree_lst; at = at->next) {
    trees.push_back(reinterpret_cast<Tree*>(at));
  }
  return trees;
}

inline void Append(list_head* list, list_head* link) {
  link->next = list;
  link->prev = list->prev;
  list->prev->next = link;
  list->prev = link;
}

// ---- The tree ----

inline bool IsInstance(const Node* node) {
  return node->node_type == NC_DM_NODE_TYPE_MULT_OBJECT ||
         node->node_type == NC_DM_NODE_TYPE_MULT_LEAF;
}

inline bool IsMode(const Node* node) {
  return node->node_type == NC_DM_NODE_TYPE_MULT_MODE ||
         node->node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE;
}

inline const char* KindName(const Node* node) {
  static constexpr std::array<const char*, 7> kNames = {
      "?", "leaf", "element", "leaf-list", "container", "entry", "list"};
  const auto kind = static_cast<size_t>(node->node_type);
  return kNames[kind < kNames.size() ? kind : 0];
}

// The nodes of `list` and all below, parents first.
inline void Visit(const list_head* list, const std::function<void(Node*)>& visit) {
  for (Node* node : NodesOf(list)) {
    visit(node);
    Visit(&node->sub_lst, visit);
  }
}

inline std::vector<Node*> AllNodes() {
  std::vector<Node*> nodes;
  Visit(&g_nc_agent_dm.dm_root, [&](Node* node) { nodes.push_back(node); });
  return nodes;
}

inline std::string PathOf(const Node* node) {
  std::string path = node->parent != nullptr ? PathOf(node->parent) + "." : "";
  path += node->node_name;
  if (node->instid != 0) path += "." + std::to_string(node->instid);
  return path;
}

// "a:container", "a.b.3:entry".
inline std::string Describe(const Node* node) {
  return node != nullptr ? PathOf(node) + ":" + KindName(node) : "none";
}

inline std::vector<std::string> Describe(const std::vector<Node*>& nodes) {
  std::vector<std::string> texts;
  for (const Node* node : nodes) texts.push_back(Describe(node));
  return texts;
}

inline std::vector<std::string> TreeText() { return Describe(AllNodes()); }

// The counters: all nodes, entries, lists, containers, leaves, elements, leaf-lists.
using Counters = std::array<uint32_t, 7>;

inline Counters CountersNow() {
  const nc_dm_t& dm = g_nc_agent_dm;
  return {dm.total_node, dm.total_mobject, dm.total_mmode,  dm.total_sobject,
          dm.total_leaf, dm.total_mleaf,   dm.total_mlfmode};
}

inline Counters CountedNodes() {
  Counters counters{};
  for (const Node* node : AllNodes()) {
    ++counters[0];
    switch (node->node_type) {
      case NC_DM_NODE_TYPE_MULT_OBJECT:
        ++counters[1];
        break;
      case NC_DM_NODE_TYPE_MULT_MODE:
        ++counters[2];
        break;
      case NC_DM_NODE_TYPE_SINGLE_OBJECT:
        ++counters[3];
        break;
      case NC_DM_NODE_TYPE_LEAF:
        ++counters[4];
        break;
      case NC_DM_NODE_TYPE_MULT_LEAF:
        ++counters[5];
        break;
      case NC_DM_NODE_TYPE_MULT_LEAF_MODE:
        ++counters[6];
        break;
      default:
        break;
    }
  }
  return counters;
}

// ---- Paths ----

inline nc_dm_path_nodes_t Parsed(std::string path, bool with_ids = false) {
  nc_dm_path_nodes_t nodes{};
  EXPECT_EQ(nc_dm_parse(path.data(), &nodes, with_ids), 0) << path;
  return nodes;
}

inline void AppendComponent(nc_dm_path_nodes_t* path, const std::string& name,
                            nc_int64 instid = 0) {
  const nc_int32 at = path->total_node++;
  snprintf(path->nodes[at], sizeof(path->nodes[at]), "%s", name.c_str());
  path->instances[at] = instid;
}

inline nc_dm_id_array_t IdArray(const std::vector<nc_int64>& ids) {
  nc_dm_id_array_t array{};
  for (const nc_int64 id : ids) array.id[array.cnt++] = id;
  return array;
}

// The first node at a path, where numbers are instance ids and no number means id 0; or null.
inline Node* At(const std::string& path) {
  const nc_dm_path_nodes_t parsed = Parsed(path, true);
  const list_head* list = &g_nc_agent_dm.dm_root;
  Node* found = nullptr;
  for (int i = 0; i < parsed.total_node; ++i) {
    found = nullptr;
    for (Node* node : NodesOf(list)) {
      if (strcmp(node->node_name, parsed.nodes[i]) != 0) continue;
      if (node->instid != parsed.instances[i]) continue;
      found = node;
      break;
    }
    if (found == nullptr) return nullptr;
    list = &found->sub_lst;
  }
  return found;
}

// ---- Log ----

// Lines as LogLines has them.
inline std::string Error(const std::string& text) { return "E " + text; }
inline std::string Info(const std::string& text) { return "I " + text; }

// ---- Fixture ----

// Callbacks that are only told apart by their address.
inline int SetA(nc_dm_id_array_t*, char*) { return 1; }
inline int SetB(nc_dm_id_array_t*, char*) { return 2; }
inline int GetA(nc_dm_id_array_t*, char*) { return 3; }
inline nc_int64 CreateA(nc_dm_id_array_t*, char*) { return 4; }
inline nc_int64 CreateB(nc_dm_id_array_t*, char*) { return 5; }
inline nc_int64 DeleteA(nc_dm_id_array_t*, char*) { return 6; }
inline nc_int64 DeleteB(nc_dm_id_array_t*, char*) { return 7; }
inline int GetAttrA(nc_dm_agent_data_block_t*, nc_dm_op_output_t*) { return 8; }
inline int GetAttrB(nc_dm_agent_data_block_t*, nc_dm_op_output_t*) { return 9; }
inline nc_int64 ExeCmdA(nc_dm_agent_data_block_t*) { return 10; }
inline nc_int64 ExeCmdB(nc_dm_agent_data_block_t*) { return 11; }

// A registration's template.
inline Node Template(int flag = 0) {
  Node leaf{};
  leaf.node_type = NC_DM_NODE_TYPE_LEAF;
  leaf.val_type = NC_DM_VAL_TYPE_STRING;
  leaf.flag = flag;
  return leaf;
}

// As the registration calls do it: match, and create what is missing.
inline int RegisterPath(const std::string& path, Node leaf) {
  nc_dm_path_nodes_t nodes = Parsed(path);
  Node* last = nullptr;
  const nc_dm_agent_match_status_t status =
      nc_dm_agent_reg_match(&g_nc_agent_dm.dm_root, &nodes, &last);
  if (status <= NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF_MODE) return 1;
  return nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &nodes, last, &leaf);
}

// A node as somebody would build it who does not know this library's way to make one.
inline Node* HandMade(Node* parent, const char* name, nc_dm_node_type_t kind, nc_int64 instid = 0) {
  auto* node = static_cast<Node*>(calloc(1, sizeof(Node)));
  node->node_name = strdup(name);
  node->parent = parent;
  node->node_type = kind;
  node->instid = instid;
  for (list_head* list :
       {&node->lst, &node->key_lst, &node->btree_lst, &node->sub_lst, &node->sub_key_lst}) {
    list->next = list;
    list->prev = list;
  }
  return node;
}

// What an application may do with a node of its own under the lock.
inline void Rename(Node* node, const char* name) {
  free(node->node_name);
  node->node_name = strdup(name);
}

inline void UnlinkByHand(list_head* link) {
  link->prev->next = link->next;
  link->next->prev = link->prev;
  link->next = link;
  link->prev = link;
}

// An empty tree, which is emptied again behind the test.
class TreeTest : public testing::Test {
 protected:
  TreeTest() { EXPECT_EQ(nc_dm_agent_init_tree(), 0); }
  ~TreeTest() override {
    g_nc_dm_agent_dbg = 0;
    for (Node* root : Roots()) nc_dm_agent_unreg_nodes(root);
    g_nc_dm_mng_info.agent_tree_init = false;
    g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_ERROR;
  }

  static void Register(const std::string& path, int flag = 0) {
    EXPECT_EQ(RegisterPath(path, Template(flag)), 0) << path;
  }

  // Creates the instance of the schema node of a name below a parent.
  static Node* Create(Node* parent, const char* name, nc_int64 instid) {
    for (Node* mode : Children(parent)) {
      if (strcmp(mode->node_name, name) != 0 || !IsMode(mode)) continue;
      return nc_dm_agent_create_node(parent, mode, instid,
                                     mode->node_type == NC_DM_NODE_TYPE_MULT_MODE
                                         ? NC_DM_NODE_TYPE_MULT_OBJECT
                                         : NC_DM_NODE_TYPE_MULT_LEAF,
                                     NC_DM_NODE_SRC_NONE);
    }
    ADD_FAILURE() << "no list " << name;
    return nullptr;
  }

  // Gives a mode node a hash table of 2^bits buckets, none of which is there yet.
  static void Hash(Node* mode, uint32_t bits = 12) {
    mode->hash_tab = static_cast<nc_dm_hash_tab_t*>(calloc(1, sizeof(nc_dm_hash_tab_t)));
    mode->hash_tab->size_bits_num = bits;
    mode->flag |= NC_DM_FLAG_HASH_TAB;
  }

  static Tree* TreeOf(Node* parent, const char* name) {
    for (Tree* tree : Trees(parent)) {
      if (strcmp(tree->name, name) == 0) return tree;
    }
    return nullptr;
  }

  // Adds a hand-made node, which the tree counts when it is removed.
  static Node* AddHandMade(Node* parent, const char* name, nc_dm_node_type_t kind,
                           nc_int64 instid = 0) {
    Node* node = HandMade(parent, name, kind, instid);
    Append(parent != nullptr ? &parent->sub_lst : &g_nc_agent_dm.dm_root, &node->lst);
    ++g_nc_agent_dm.total_node;
    if (uint32_t* counter = CounterOf(kind)) ++*counter;
    return node;
  }

  // Unlinks and frees such a node without a word to the library. It has no children.
  static void FreeHandMade(Node* node) {
    UnlinkByHand(&node->lst);
    --g_nc_agent_dm.total_node;
    if (uint32_t* counter = CounterOf(node->node_type)) --*counter;
    nc_dm_agent_free_bin_tree_list(&node->btree_lst);
    if (node->hash_tab != nullptr) {
      nc_dm_agent_delete_mode_node_hash_tab_all_entries(node->hash_tab);
      free(node->hash_tab);
    }
    free(node->node_name);
    free(node);
  }

 private:
  static uint32_t* CounterOf(nc_dm_node_type_t kind) {
    nc_dm_t& dm = g_nc_agent_dm;
    switch (kind) {
      case NC_DM_NODE_TYPE_LEAF:
        return &dm.total_leaf;
      case NC_DM_NODE_TYPE_MULT_LEAF:
        return &dm.total_mleaf;
      case NC_DM_NODE_TYPE_MULT_LEAF_MODE:
        return &dm.total_mlfmode;
      case NC_DM_NODE_TYPE_SINGLE_OBJECT:
        return &dm.total_sobject;
      case NC_DM_NODE_TYPE_MULT_OBJECT:
        return &dm.total_mobject;
      case NC_DM_NODE_TYPE_MULT_MODE:
        return &dm.total_mmode;
      default:
        return nullptr;
    }
  }
};

// The same with the log open for errors and information.
class LoggedTreeTest : public TreeTest {
 protected:
  DebugMask mask{NC_DM_DBG_ERROR | NC_DM_DBG_INFO};
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_KERNEL_TREE_FIXTURE_H_
