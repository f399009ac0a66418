// Does the tree hang together: links, parents, kinds, counters, and indexes against children. It
// reads the records alone and walks everything, apart from the library's own ways of finding a
// node, and then asks those for each instance as well. Without GoogleTest, for the fuzzers.
#ifndef TESTS_SUPPORT_TREE_CHECK_H_
#define TESTS_SUPPORT_TREE_CHECK_H_

#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"

namespace ncdm_test {

// Do the tree's counters hold. They stay too high where memory was too short to index an instance.
enum class Counters { kExact, kDrifted };

class TreeCheck {
 public:
  explicit TreeCheck(Counters counters) : counters_(counters) {}

  // The first thing that is wrong with the tree, with its path; empty when nothing is.
  std::string Run() {
    CheckSiblings(&g_nc_agent_dm.dm_root, nullptr, "");
    if (counters_ == Counters::kExact) CheckCounters();
    return trouble_;
  }

 private:
  using Node = nc_dm_agent_node_t;
  using Entry = nc_dm_bin_tree_node_t;

  static bool IsInstance(const Node& node) {
    return node.node_type == NC_DM_NODE_TYPE_MULT_OBJECT ||
           node.node_type == NC_DM_NODE_TYPE_MULT_LEAF;
  }
  static bool IsKeyLeaf(const Node& node) {
    return node.node_type == NC_DM_NODE_TYPE_LEAF && (node.flag & NC_DM_EDIT_FLAG_KEYS) != 0;
  }

  bool Expect(bool holds, const std::string& path, const char* what) {
    if (!holds && trouble_.empty()) trouble_ = (path.empty() ? "the tree" : path) + ": " + what;
    return holds;
  }

  void CheckCounters() {
    const nc_dm_t& dm = g_nc_agent_dm;
    Expect(counts_[0] == dm.total_node, "", "total_node");
    Expect(counts_[NC_DM_NODE_TYPE_LEAF] == dm.total_leaf, "", "total_leaf");
    Expect(counts_[NC_DM_NODE_TYPE_MULT_LEAF] == dm.total_mleaf, "", "total_mleaf");
    Expect(counts_[NC_DM_NODE_TYPE_MULT_LEAF_MODE] == dm.total_mlfmode, "", "total_mlfmode");
    Expect(counts_[NC_DM_NODE_TYPE_SINGLE_OBJECT] == dm.total_sobject, "", "total_sobject");
    Expect(counts_[NC_DM_NODE_TYPE_MULT_OBJECT] == dm.total_mobject, "", "total_mobject");
    Expect(counts_[NC_DM_NODE_TYPE_MULT_MODE] == dm.total_mmode, "", "total_mmode");
  }

  // Both directions, so that a walk along `next` sees everything.
  bool CheckLinks(const list_head* head, const std::string& path, const char* what) {
    const list_head* link = head;
    do {
      if (!Expect(link->next != nullptr && link->next->prev == link, path, what)) return false;
      link = link->next;
    } while (link != head);
    return true;
  }

  void CheckSiblings(const list_head* siblings, Node* parent, const std::string& prefix) {
    if (!CheckLinks(siblings, prefix, "links of the children")) return;
    CheckChains(siblings, parent, prefix);
    for (Node& node : nc::Records<Node>(siblings)) {
      if (!trouble_.empty()) return;
      if (!Expect(node.node_name != nullptr && *node.node_name != '\0', prefix, "name")) return;
      std::string path = prefix + node.node_name;
      if (node.instid != 0) path += "." + std::to_string(node.instid);
      CheckNode(&node, parent, path);
      CheckSiblings(&node.sub_lst, &node, path + ".");
      CheckKeys(&node, path);
      CheckIndexes(&node, path);
    }
  }

  void CheckNode(Node* node, const Node* parent, const std::string& path) {
    Expect(node->parent == parent, path, "parent");
    Expect(node->padb == nullptr, path, "data block");
    Expect(node->dm_path == nullptr, path, "dm_path");
    const bool has_kind =
        node->node_type >= NC_DM_NODE_TYPE_LEAF && node->node_type < NC_DM_NODE_TYPE_MAX;
    if (!Expect(has_kind, path, "kind")) return;
    ++counts_[0];
    ++counts_[node->node_type];
    // Of the ids nothing is said: a path may be registered with any number in place of a list
    // marker.
    if (!IsInstance(*node)) {
      Expect(node->instid_btree_node == nullptr, path, "index entry of a schema node");
    }
  }

  void CheckKeys(Node* node, const std::string& path) {
    if (!CheckLinks(&node->sub_key_lst, path, "links of the key leaves")) return;
    std::set<const Node*> keys;
    for (Node& key : nc::Records<Node, &nc_dm_agent_node_t::key_lst>(&node->sub_key_lst)) {
      Expect(keys.insert(&key).second, path, "a key leaf stands twice");
    }
    for (const Node& child : nc::Records<Node>(&node->sub_lst)) {
      const bool is_listed = keys.erase(&child) == 1;
      Expect(is_listed || !IsKeyLeaf(child), path, "a key leaf is not listed");
    }
    Expect(keys.empty(), path, "a listed key leaf is no child");
  }

  struct Size {
    nc_int32 count;
    int depth;
  };

  // The entries of an instance tree, in order of their ids.
  Size CheckEntries(const Entry* entry, const Entry* parent, const std::string& path) {
    if (entry == nullptr || !trouble_.empty()) return {0, 0};
    Expect(entry->parent == parent, path, "parent of an index entry");
    const Size left = CheckEntries(entry->left, entry, path);
    Expect(entries_.empty() || last_id_ < entry->id, path, "order of the index");
    last_id_ = entry->id;
    entries_.insert(entry);
    const Size right = CheckEntries(entry->right, entry, path);
    Expect(entry->left_cnt == left.count && entry->right_cnt == right.count, path,
           "counts of an index entry");
    return {left.count + right.count + 1, std::max(left.depth, right.depth) + 1};
  }

  void CheckInstanceTree(const nc_dm_bin_tree_t& tree, const std::string& path) {
    entries_.clear();
    const Size all = CheckEntries(tree.root_byid, nullptr, path);
    Expect(all.depth <= 2 * std::log2(all.count + 1.0) + 2, path, "depth of the index");
  }

  void CheckIndexes(Node* node, const std::string& path) {
    if (!trouble_.empty()) return;
    if (!CheckLinks(&node->btree_lst, path, "links of the instance trees")) return;
    std::map<std::string, const nc_dm_bin_tree_t*> trees;
    std::set<const Entry*> all_entries;
    for (nc_dm_bin_tree_t& tree : nc::Records<nc_dm_bin_tree_t>(&node->btree_lst)) {
      if (!Expect(tree.name != nullptr, path, "name of an instance tree")) return;
      Expect(trees.emplace(tree.name, &tree).second, path, "two instance trees of a name");
      CheckInstanceTree(tree, path + "." + tree.name);
      all_entries.insert(entries_.begin(), entries_.end());
    }
    std::set<const Node*> children;
    for (Node& child : nc::Records<Node>(&node->sub_lst)) {
      children.insert(&child);
      if (IsInstance(child)) {
        CheckInstance(node, &child, &all_entries, path);
      } else {
        CheckSchema(node, &child, path);
      }
    }
    Expect(all_entries.empty(), path, "an index entry without an instance");
    for (const Node* child : children) {
      if (child->hash_tab != nullptr)
        CheckHashTable(*child->hash_tab, children, path + "." + child->node_name);
    }
    for (const auto& [name, tree] : trees) {
      const auto* mode = static_cast<const Node*>(tree->data);
      Expect(mode == nullptr || children.contains(mode), path, "mode node of an instance tree");
    }
  }

  void CheckHashTable(nc_dm_hash_tab_t& hash_tab, const std::set<const Node*>& children,
                      const std::string& path) {
    if (hash_tab.table == nullptr) return;
    for (size_t i = 0; i < size_t{1} << hash_tab.size_bits_num; ++i) {
      for (const auto* at = hash_tab.table[i].first; at != nullptr; at = at->next) {
        if (!Expect(children.contains(at->data_ptr), path, "a hashed instance is no child")) return;
        Expect(nc_dm_agent_get_mode_node_inst_by_hash_tab(&hash_tab, at->data_ptr->instid) ==
                   at->data_ptr,
               path, "a hashed instance is not found");
      }
    }
  }

  // A chained node's neighbours are those of its name in the list, as long as the library alone has
  // linked nodes there.
  void CheckChains(const list_head* siblings, const Node* parent, const std::string& path) {
    if (parent != nullptr && parent->is_walked != 0) return;
    std::map<std::string, const Node*> last;
    for (const Node& node : nc::Records<Node>(siblings)) {
      if (node.is_chained == 0) return;
    }
    for (const Node& node : nc::Records<Node>(siblings)) {
      const Node*& before = last[node.node_name];
      Expect(node.prev_same == before, path + node.node_name, "chain of the name");
      Expect(before == nullptr || before->next_same == &node, path + node.node_name,
             "chain of the name, forwards");
      before = &node;
    }
    for (const auto& [name, node] : last) {
      Expect(node->next_same == nullptr, path + name, "end of the chain");
    }
  }

  void CheckSchema(Node* parent, Node* child, const std::string& path) {
    const Node* found = nc_dm_agent_search_mode_node(parent, child->node_name);
    Expect(found != nullptr && !IsInstance(*found), path + "." + child->node_name,
           "the schema node is not found");
  }

  void CheckInstance(Node* parent, Node* child, std::set<const Entry*>* entries,
                     const std::string& path) {
    const std::string at = path + "." + child->node_name + "." + std::to_string(child->instid);
    if (const Entry* entry = child->instid_btree_node) {
      Expect(entry->data == child && entry->id == child->instid, at, "index entry");
      Expect(entries->erase(entry) == 1, at, "the index entry is in no instance tree");
    }
    // What was registered as a schema path with a number stands in no index.
    if (child->instid_btree_node == nullptr) return;
    const Node* found = nc_dm_agent_get_mode_node_inst(parent, child->node_name, child->instid);
    Expect(found != nullptr && found->instid == child->instid && found->parent == parent, at,
           "the instance is not found");
    Expect(nc_dm_agent_has_inst_node(parent, child->node_name, child->instid), at,
           "the instance is not there");
  }

  const Counters counters_;
  std::string trouble_;
  uint32_t counts_[NC_DM_NODE_TYPE_MAX] = {};
  std::set<const Entry*> entries_;
  nc_int64 last_id_ = 0;
};

inline std::string TreeTrouble(Counters counters = Counters::kExact) {
  return TreeCheck(counters).Run();
}

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_TREE_CHECK_H_
