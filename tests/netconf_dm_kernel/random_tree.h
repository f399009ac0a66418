// A tree that grows and shrinks at random: registrations, instances, hash tables, removals and, on
// request, nodes that somebody links without the library.
#ifndef TESTS_NETCONF_DM_KERNEL_RANDOM_TREE_H_
#define TESTS_NETCONF_DM_KERNEL_RANDOM_TREE_H_

#include <random>
#include <string>
#include <vector>

#include "netconf_dm_kernel/tree_fixture.h"

namespace ncdm_test {

class RandomTreeTest : public TreeTest, public testing::WithParamInterface<unsigned> {
 protected:
  static constexpr size_t kMaxNodes = 500;

  // ---- Chance ----

  int Up(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }
  bool Chance(int percent) { return Up(100) < percent; }

  template <typename T>
  T Any(const std::vector<T>& items) {
    return items.empty() ? T{} : items[static_cast<size_t>(Up(static_cast<int>(items.size())))];
  }

  // Few names, so that they meet; now and then one of many, so that lists get long.
  std::string AnyName() {
    return Chance(70) ? std::string(1, static_cast<char>('a' + Up(4)))
                      : "w" + std::to_string(Up(40));
  }

  template <typename Condition>
  Node* AnyNode(Condition condition) {
    std::vector<Node*> nodes;
    for (Node* node : AllNodes()) {
      if (condition(node)) nodes.push_back(node);
    }
    return Any(nodes);
  }

  // ---- Changes ----

  void RegisterAny() {
    std::string path;
    const int depth = 1 + Up(4);
    for (int i = 0; i < depth; ++i) {
      path += (path.empty() ? "" : ".") + AnyName();
      if (Chance(40))
        path += ".{i}";
      else if (Chance(10))
        path += "." + std::to_string(1 + Up(4));
    }
    static constexpr int kFlags[] = {0, 0, NC_DM_FLAG_KEY, NC_DM_FLAG_LEAF_LIST};
    RegisterPath(path, Template(kFlags[Up(4)]));
  }

  void CreateAny() {
    Node* mode = AnyNode([](const Node* node) { return IsMode(node) && node->parent != nullptr; });
    if (mode == nullptr) return;
    const bool is_leaf_list = mode->node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE;
    const int count = Chance(10) ? 20 : 1;
    for (int i = 0; i < count; ++i) {
      nc_dm_agent_create_node(
          mode->parent, mode, 1 + Up(count > 1 ? 40 : 6),
          is_leaf_list ? NC_DM_NODE_TYPE_MULT_LEAF : NC_DM_NODE_TYPE_MULT_OBJECT,
          NC_DM_NODE_SRC_NONE);
    }
  }

  void HashAny() {
    Node* mode =
        AnyNode([](const Node* node) { return IsMode(node) && node->hash_tab == nullptr; });
    if (mode != nullptr) Hash(mode, 3);
  }

  void RemoveAny() {
    if (Node* node =
            AnyNode([this](const Node* node) { return node->parent != nullptr || Chance(9); })) {
      nc_dm_agent_unreg_nodes(node);
    }
  }

  void RemoveAnyEmpty() {
    Node* node = AnyNode([](const Node* node) { return Children(node).empty(); });
    if (node != nullptr) nc_dm_agent_unreg_parent(node);
  }

  void AddAnyHandMade() {
    static constexpr nc_dm_node_type_t kKinds[] = {
        NC_DM_NODE_TYPE_LEAF, NC_DM_NODE_TYPE_SINGLE_OBJECT, NC_DM_NODE_TYPE_MULT_OBJECT,
        NC_DM_NODE_TYPE_MULT_LEAF, NC_DM_NODE_TYPE_MULT_MODE};
    Node* parent = AnyNode([](const Node*) { return true; });
    const nc_dm_node_type_t kind = kKinds[Up(5)];
    const bool is_instance =
        kind == NC_DM_NODE_TYPE_MULT_OBJECT || kind == NC_DM_NODE_TYPE_MULT_LEAF;
    AddHandMade(Chance(5) ? nullptr : parent, AnyName().c_str(), kind, is_instance ? 1 + Up(6) : 0);
  }

  // What an application may do under the lock with a node that it made: rename, move, free.
  void ChangeAnyHandMade() {
    Node* node = AnyNode([](const Node* at) { return at->origin == 0 && Children(at).empty(); });
    if (node == nullptr) return;
    if (Chance(30)) return Rename(node, AnyName().c_str());
    const bool is_indexed = node->instid_btree_node != nullptr || node->is_hashed != 0;
    if (Chance(50) && !is_indexed) return FreeHandMade(node);
    UnlinkByHand(&node->lst);
    node->parent = Chance(10) ? nullptr : AnyNode([node](const Node* at) { return at != node; });
    Append(node->parent != nullptr ? &node->parent->sub_lst : &g_nc_agent_dm.dm_root, &node->lst);
  }

  void ChangeSomething() {
    const bool is_full = AllNodes().size() > kMaxNodes;
    const int what = Up(100);
    if (what < 30 && !is_full) return RegisterAny();
    if (what < 65 && !is_full) return CreateAny();
    if (what < 69) return HashAny();
    if (what < 72 && hand_made_) return AddAnyHandMade();
    if (what < 75 && hand_made_) return ChangeAnyHandMade();
    if (what < 85) return RemoveAnyEmpty();
    return RemoveAny();
  }

  // ---- Questions ----

  // A path that follows the tree for a while, with its ids or others.
  nc_dm_path_nodes_t AnyPath() {
    nc_dm_path_nodes_t path{};
    const list_head* list = &g_nc_agent_dm.dm_root;
    for (int depth = 0; depth < 8; ++depth) {
      Node* node = Any(NodesOf(list));
      const std::string name = node == nullptr || Chance(3) ? AnyName() : node->node_name;
      AppendComponent(&path, name, node == nullptr || Chance(10) ? Up(7) : node->instid);
      if (node == nullptr || Chance(15)) break;
      list = &node->sub_lst;
    }
    return path;
  }

  // The ids of such a path, now and then one too few or one of 0.
  nc_dm_id_array_t IdsOf(const nc_dm_path_nodes_t& path) {
    nc_dm_id_array_t ids{};
    for (int i = 0; i < path.total_node; ++i) {
      if (path.instances[i] != 0 || Chance(5)) ids.id[ids.cnt++] = path.instances[i];
    }
    if (ids.cnt > 0 && Chance(15)) --ids.cnt;
    return ids;
  }

  std::mt19937 random_{GetParam()};
  bool hand_made_ = false;
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_KERNEL_RANDOM_TREE_H_
