// A second, plain tree for the comparison of edits: lists and walks, no index, no shortcut.
#ifndef TESTS_REFERENCE_TREE_H_
#define TESTS_REFERENCE_TREE_H_

#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/model_app.h"

namespace ncdm_test {

class ReferenceTree {
 public:
  explicit ReferenceTree(const std::vector<ModelLeaf>& schema) {
    for (const ModelLeaf& leaf : schema) Register(leaf);
  }

  void AddInstance(const std::vector<std::string>& lists, const Ids& ids, int src) {
    Way way = Follow(lists, ids, false);
    for (; way.names < lists.size(); ++way.names) {
      Node* list = Child(*way.last, lists[way.names]);
      way.last = MakeInstance(*way.last, *list, ids[way.ids++], src);
    }
  }
  void SetSource(const std::string& path, int src) {
    Visit(roots_, "", [&](const std::string& at, Node& node) {
      if (at == path) node.src = src;
    });
  }

 protected:
  enum class Kind { kLeaf, kLeafList, kValue, kContainer, kList, kEntry };

  struct Node;
  using Nodes = std::list<std::unique_ptr<Node>>;

  struct Node {
    std::string name;
    Kind kind;
    Node* parent;
    nc_int64 id = 0;
    int src = 0;
    const ModelLeaf* leaf = nullptr;     // of a leaf, a leaf-list and its values
    const ModelLeaf* key = nullptr;      // gives a list and its entries their `delete`
    const ModelLeaf* command = nullptr;  // gives them, or a container, their `exe_cmd`
    Nodes children = {};

    bool Has(Callback callback) const {
      return leaf != nullptr && (leaf->callbacks & static_cast<unsigned>(callback)) != 0;
    }
  };

  // ---- The tree ----

  static std::string LastName(const ModelLeaf& leaf) {
    return leaf.path.substr(leaf.path.rfind('.') + 1);
  }

  static std::vector<std::string> Split(const std::string& path) {
    std::vector<std::string> parts(1);
    for (const char c : path) {
      if (c == '.')
        parts.emplace_back();
      else
        parts.back() += c;
    }
    return parts;
  }

  void Register(const ModelLeaf& leaf) {
    const std::vector<std::string> parts = Split(leaf.path);
    Nodes* siblings = &roots_;
    Node* parent = nullptr;
    for (size_t i = 0; i < parts.size(); ++i) {
      const bool is_list = i + 1 < parts.size() && parts[i + 1] == "{i}";
      const bool is_last = i + 1 == parts.size();
      Node* node = Named(*siblings, parts[i]);
      if (node == nullptr) {
        const Kind kind = is_list                              ? Kind::kList
                          : !is_last                           ? Kind::kContainer
                          : (leaf.flag & NC_DM_FLAG_LEAF_LIST) ? Kind::kLeafList
                                                               : Kind::kLeaf;
        siblings->push_back(std::make_unique<Node>(Node{parts[i], kind, parent}));
        node = siblings->back().get();
      }
      if (is_last) {
        node->leaf = &leaf;
        if (parent != nullptr) {
          if ((leaf.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0) parent->key = &leaf;
          if (parent->command == nullptr && node->Has(Callback::kExeCmd)) parent->command = &leaf;
        }
      }
      parent = node;
      siblings = &node->children;
      if (is_list) ++i;
    }
  }

  static Node* Named(const Nodes& nodes, const std::string& name) {
    for (const auto& node : nodes) {
      if (node->name == name) return node.get();
    }
    return nullptr;
  }
  // The schema node comes first among those of a name.
  static Node* Child(const Node& parent, const std::string& name) {
    return Named(parent.children, name);
  }
  static bool IsInstance(const Node& node) {
    return node.kind == Kind::kEntry || node.kind == Kind::kValue;
  }
  static Node* Instance(const Nodes& nodes, const std::string& name, nc_int64 id) {
    for (const auto& node : nodes) {
      if (IsInstance(*node) && node->name == name && node->id == id) return node.get();
    }
    return nullptr;
  }

  static Node* Copy(Node& parent, const Node& from, Kind kind, nc_int64 id, int src) {
    parent.children.push_back(std::make_unique<Node>(
        Node{from.name, kind, &parent, id, src, from.leaf, from.key, from.command}));
    Node* made = parent.children.back().get();
    for (const auto& child : from.children) {
      if (!IsInstance(*child)) Copy(*made, *child, child->kind, 0, src);
    }
    return made;
  }
  static Node* MakeInstance(Node& parent, const Node& list, nc_int64 id, int src) {
    if (id <= 0) return nullptr;
    return Copy(parent, list, list.kind == Kind::kList ? Kind::kEntry : Kind::kValue, id, src);
  }

  static void Remove(Node* node) {
    node->parent->children.remove_if([node](const auto& child) { return child.get() == node; });
  }

  template <typename Function>
  static void Visit(Nodes& nodes, const std::string& prefix, Function function) {
    for (const auto& node : nodes) {
      std::string path = prefix + node->name;
      if (node->id != 0) path += "." + std::to_string(node->id);
      function(path, *node);
      Visit(node->children, path + ".", function);
    }
  }

  // ---- The way along a path ----

  struct Way {
    Node* last = nullptr;
    size_t names = 0;
    size_t ids = 0;
  };

  Way Follow(const std::vector<std::string>& names, const Ids& ids, bool to_leaf_lists) {
    Way way;
    Nodes* siblings = &roots_;
    for (const std::string& name : names) {
      Node* next = nullptr;
      for (const auto& node : *siblings) {
        if (node->name != name) continue;
        if (node->kind == Kind::kList) continue;
        if (node->kind == Kind::kLeafList && !to_leaf_lists) continue;
        next = node.get();
        if (IsInstance(*next)) {
          next = way.ids < ids.size() ? Instance(*siblings, name, ids[way.ids]) : nullptr;
        }
        break;
      }
      if (next == nullptr) break;
      if (IsInstance(*next)) ++way.ids;
      ++way.names;
      way.last = next;
      siblings = &next->children;
    }
    return way;
  }

  // Makes what is missing on the way, and stamps it. The last node, or null.
  Node* MakeWay(const std::vector<std::string>& names, const Ids& ids, int src) {
    Way way = Follow(names, ids, false);
    if (way.last == nullptr) return nullptr;
    const auto stamp = [src](Node& node) {
      if (node.kind == Kind::kLeaf || node.src != NC_DM_NODE_SRC_CLI_ALW) node.src = src;
    };
    stamp(*way.last);
    bool has_made = false;
    for (; way.names < names.size(); ++way.names) {
      Node* node = Child(*way.last, names[way.names]);
      if (node == nullptr) return nullptr;
      if (node->kind == Kind::kList || node->kind == Kind::kLeafList) {
        if (way.ids == ids.size()) return way.last;
        node = MakeInstance(*way.last, *node, ids[way.ids++], src);
        if (node == nullptr) return nullptr;
        if (!std::exchange(has_made, true)) made_.push_back(node);
      } else {
        stamp(*node);
      }
      way.last = node;
    }
    return way.last;
  }

  // Takes out what was made on the way, the last first.
  void UnmakeWay() {
    for (; !made_.empty(); made_.pop_back()) Remove(made_.back());
  }

  Nodes roots_;
  std::vector<Node*> made_;  // the topmost of each way
};

}  // namespace ncdm_test

#endif  // TESTS_REFERENCE_TREE_H_
