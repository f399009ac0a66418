#include "reference/reference_tree.h"

#include <utility>

namespace ncdm_test {
namespace {

using Kind = ReferenceTree::Kind;
using Node = ReferenceTree::Node;
using Nodes = ReferenceTree::Nodes;

std::vector<std::string> Split(const std::string& path) {
  std::vector<std::string> parts(1);
  for (const char c : path) {
    if (c == '.') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

Node* Named(const Nodes& nodes, const std::string& name) {
  for (const auto& node : nodes) {
    if (node->name == name) return node.get();
  }
  return nullptr;
}

Node* InstanceOf(const Nodes& nodes, const std::string& list, nc_int64 id) {
  for (const auto& node : nodes) {
    if (node->IsInstance() && node->name == list && node->id == id) return node.get();
  }
  return nullptr;
}

// The step of a way from one level to the next.
Node* Step(const Nodes& level, const std::string& name, const nc_int64* id, bool to_leaf_lists) {
  for (const auto& node : level) {
    if (node->name != name || node->kind == Kind::kList) continue;
    if (node->kind == Kind::kLeafList && !to_leaf_lists) continue;
    if (!node->IsInstance()) return node.get();
    return id != nullptr ? InstanceOf(level, name, *id) : nullptr;
  }
  return nullptr;
}

template <typename Function>
void Visit(const Nodes& nodes, const std::string& prefix, Function function) {
  for (const auto& node : nodes) {
    std::string path = prefix + node->name;
    if (node->id != 0) path += "." + std::to_string(node->id);
    function(path, node.get());
    Visit(node->children, path + ".", function);
  }
}

Kind KindOf(const ModelLeaf& leaf, bool is_last, bool is_list) {
  if (is_list) return Kind::kList;
  if (!is_last) return Kind::kContainer;
  return (leaf.flag & NC_DM_FLAG_LEAF_LIST) != 0 ? Kind::kLeafList : Kind::kLeaf;
}

bool IsKeyLeaf(const ModelLeaf& leaf) {
  return (leaf.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0;
}

}  // namespace

bool Node::IsKey() const { return kind == Kind::kLeaf && IsKeyLeaf(*leaf); }

Node* Node::Child(const std::string& child) const { return Named(children, child); }

Node* Node::Instance(const std::string& list, nc_int64 instance) const {
  return InstanceOf(children, list, instance);
}

ReferenceTree::ReferenceTree(const std::vector<ModelLeaf>& schema) {
  for (const ModelLeaf& leaf : schema) Register(leaf);
}

void ReferenceTree::Register(const ModelLeaf& leaf) {
  const std::vector<std::string> parts = Split(leaf.path);
  Nodes* siblings = &roots_;
  Node* parent = nullptr;
  for (size_t i = 0; i < parts.size(); ++i) {
    const bool is_list = i + 1 < parts.size() && parts[i + 1] == "{i}";
    const bool is_last = i + 1 == parts.size();
    Node* node = Named(*siblings, parts[i]);
    if (node == nullptr) {
      siblings->push_back(
          std::make_unique<Node>(Node{parts[i], KindOf(leaf, is_last, is_list), parent}));
      node = siblings->back().get();
    }
    if (is_last) {
      node->leaf = &leaf;
      if (parent != nullptr && IsKeyLeaf(leaf)) parent->key = &leaf;
      if (parent != nullptr && parent->command == nullptr && node->Has(Callback::kExeCmd)) {
        parent->command = &leaf;
      }
    }
    parent = node;
    siblings = &node->children;
    if (is_list) ++i;
  }
}

// ---- Instances ----

Node* ReferenceTree::Copy(Node* parent, const Node& from, Kind kind, nc_int64 id, int src) {
  parent->children.push_back(std::make_unique<Node>(
      Node{from.name, kind, parent, id, src, from.leaf, from.key, from.command}));
  Node* made = parent->children.back().get();
  for (const auto& child : from.children) {
    if (!child->IsInstance()) Copy(made, *child, child->kind, 0, src);
  }
  return made;
}

Node* ReferenceTree::MakeInstance(Node* parent, const Node& list, nc_int64 id, int src) {
  if (id <= 0) return nullptr;
  return Copy(parent, list, list.kind == Kind::kList ? Kind::kEntry : Kind::kElement, id, src);
}

void ReferenceTree::Remove(Node* node) {
  node->parent->children.remove_if([node](const auto& child) { return child.get() == node; });
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the tree
void ReferenceTree::AddInstance(const std::vector<std::string>& lists, const Ids& ids, int src) {
  Way way = Follow(lists, ids, false);
  for (; way.names < lists.size(); ++way.names) {
    const Node* list = way.last->Child(lists[way.names]);
    way.last = MakeInstance(way.last, *list, ids[way.ids++], src);
  }
}

// ---- The way along a path ----

ReferenceTree::Way ReferenceTree::Follow(const std::vector<std::string>& names, const Ids& ids,
                                         bool to_leaf_lists) const {
  Way way;
  const Nodes* level = &roots_;
  for (const std::string& name : names) {
    const nc_int64* id = way.ids < ids.size() ? &ids[way.ids] : nullptr;
    Node* next = Step(*level, name, id, to_leaf_lists);
    if (next == nullptr) break;
    if (next->IsInstance()) ++way.ids;
    ++way.names;
    way.last = next;
    level = &next->children;
  }
  return way;
}

Node* ReferenceTree::MakeWay(const std::vector<std::string>& names, const Ids& ids, int src) {
  Way way = Follow(names, ids, false);
  if (way.last == nullptr) return nullptr;
  const auto stamp = [src](Node* node) {
    if (node->kind == Kind::kLeaf || node->src != NC_DM_NODE_SRC_CLI_ALW) node->src = src;
  };
  stamp(way.last);
  bool has_made = false;
  for (; way.names < names.size(); ++way.names) {
    Node* node = way.last->Child(names[way.names]);
    if (node == nullptr) return nullptr;
    if (node->kind == Kind::kList || node->kind == Kind::kLeafList) {
      if (way.ids == ids.size()) return way.last;
      node = MakeInstance(way.last, *node, ids[way.ids++], src);
      if (node == nullptr) return nullptr;
      if (!std::exchange(has_made, true)) made_.push_back(node);
    } else {
      stamp(node);
    }
    way.last = node;
  }
  return way.last;
}

void ReferenceTree::UnmakeWay() {
  for (; !made_.empty(); made_.pop_back()) Remove(made_.back());
}

// ---- Over all nodes ----

size_t ReferenceTree::Count(Kind kind) const {
  size_t count = 0;
  Visit(roots_, "", [&](const std::string&, const Node* node) { count += node->kind == kind; });
  return count;
}

size_t ReferenceTree::size() const {
  size_t count = 0;
  Visit(roots_, "", [&](const std::string&, const Node*) { ++count; });
  return count;
}

void ReferenceTree::SetSource(const std::string& path, int src) {
  Visit(roots_, "", [&](const std::string& at, Node* node) {
    if (at == path) node->src = src;
  });
}

std::map<std::string, int> ReferenceTree::Sources() const {
  std::map<std::string, int> sources;
  Visit(roots_, "", [&](const std::string& at, const Node* node) { sources[at] = node->src; });
  return sources;
}

}  // namespace ncdm_test
