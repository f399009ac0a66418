#include "netconf_dm_kernel/tree/siblings.h"

#include <cstdint>
#include <cstring>
#include <iterator>

#include "netconf_dm_kernel/shortcuts/name_chain.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace nc {
namespace {

using Node = nc_dm_agent_node_t;
using Tree = nc_dm_bin_tree_t;
using Cursor = decltype(Records<Node>(nullptr))::Iterator;

// The first child of the name from a link on, by walking.
Node* Walk(const list_head* head, list_head* link, const char* name) {
  for (Cursor at(link); at != Cursor(const_cast<list_head*>(head)); ++at) {
    if (HasName(*at, name)) return &*at;
  }
  return nullptr;
}

// The children that a search walks over before it asks for an index.
constexpr int kGlance = 16;

Node* FirstIn(const nc_dm_name_index& index, const char* name) {
  const NameSlot* slot = FindSlot(index, name);
  return slot != nullptr ? slot->first : nullptr;
}

Node* FindFirst(const SiblingList& list, const char* name) {
  int passed = 0;
  for (Node& node : Records<Node>(list.head)) {
    if (HasName(node, name)) return &node;
    if (++passed < kGlance) continue;
    const nc_dm_name_index* index = IndexOf(list);
    return index != nullptr ? FirstIn(*index, name) : Walk(list.head, node.lst.next, name);
  }
  return nullptr;
}

// The same for a range, which looks at the whole list anyway.
Node* FirstOfRange(const SiblingList& list, const char* name) {
  const bool has_index = list.index != nullptr && *list.index != nullptr;
  const nc_dm_name_index* index = has_index ? IndexOf(list) : nullptr;
  return index != nullptr ? FirstIn(*index, name) : FindFirst(list, name);
}

SiblingList ListToJoin(list_head* siblings, const Node& node) {
  const SiblingList list = ListAround(node);
  return list.head == siblings ? list : SiblingList{siblings, nullptr, nullptr, nullptr};
}

}  // namespace

// ---- Searching ----

NamedChildren::NamedChildren(const list_head* siblings, const char* name)
    : list_(ListOf(siblings)),
      name_(name),
      first_(FirstOfRange(list_, name)),
      is_chained_(first_ != nullptr && IsChained(list_)) {}

Node* NamedChildren::After(const Node& node) const {
  if (ends_with_first_) return nullptr;
  if (is_chained_ && node.next_same != nullptr) return node.next_same;
  // Behind the last of the chain the body of the loop may have linked a node by hand.
  if (is_chained_ && IsChained(list_)) return nullptr;
  return Walk(list_.head, node.lst.next, name_);
}

NamedChildren SchemaOf(const list_head* siblings, const char* name) {
  NamedChildren range(siblings, name);
  range.ends_with_first_ = range.first_ != nullptr && HasCopiesAlone(*range.first_);
  return range;
}

NameWalk::NameWalk(const list_head* siblings)
    : list_(ListOf(siblings)), index_(IndexOf(list_)), link_(list_.head->next) {}

Node* NameWalk::Next() {
  while (index_ != nullptr && slot_ < index_->names.Slots().size()) {
    if (Node* first = index_->names.Slots()[slot_++].first) return first;
  }
  while (index_ == nullptr && link_ != list_.head) {
    Node& node = *Cursor(link_);
    link_ = link_->next;
    if (node.node_name != nullptr && FindFirst(list_, node.node_name) == &node) return &node;
  }
  return nullptr;
}

Node* FindChild(const list_head* siblings, const char* name) {
  return FindFirst(ListOf(siblings), name);
}

Node* FindSchemaChild(const list_head* siblings, const char* name) {
  Node* first = FindChild(siblings, name);
  if (first == nullptr || IsSchema(*first)) return first;
  for (Node& node : SameNamed(siblings, name)) {
    if (IsSchema(node)) return &node;
  }
  return nullptr;
}

Tree* FindInstanceTree(const Node* parent, const char* name) {
  if (parent == nullptr || name == nullptr || IsEmpty(&parent->btree_lst)) return nullptr;
  return FindIndexedTree(ChildrenOf(parent), name);
}

Node* ModeNodeOf(const Tree* tree, const Node* parent) {
  if (tree == nullptr || tree->data == nullptr) return nullptr;
  const SiblingList list = ChildrenOf(parent);
  if (IsChained(list)) return static_cast<Node*>(tree->data);
  // The application may have freed a node of its own.
  for (Node& node : Records<Node>(list.head)) {
    if (&node == tree->data) return &node;
  }
  return nullptr;
}

size_t CountChildren(const Node* node) {
  if (const nc_dm_name_index* index = IndexOf(ChildrenOf(node))) return index->children;
  const auto children = Records<Node>(&node->sub_lst);
  return static_cast<size_t>(std::distance(children.begin(), children.end()));
}

size_t CountOriginals(const Node* node) {
  const nc_dm_name_index* index = IndexOf(ChildrenOf(node));
  if (index == nullptr) return SIZE_MAX;
  size_t originals = 0;
  for (const NameSlot& slot : index->names.Slots()) {
    // Without a mode node the copies are all that tells of the list; and some hold paths of their
    // own.
    if (slot.first != nullptr && slot.tree != nullptr &&
        (slot.tree->data == nullptr || slot.tree->is_extended)) {
      return SIZE_MAX;
    }
    originals += slot.originals;
  }
  return originals;
}

bool HasCopiesAlone(const Node& mode) {
  if (mode.parent == nullptr) return false;
  const nc_dm_name_index* index = IndexOf(ChildrenOf(mode.parent));
  if (index == nullptr) return false;
  const NameSlot* slot = FindSlot(*index, mode.node_name);
  return slot != nullptr && slot->first == &mode && slot->originals == 1 && slot->tree != nullptr &&
         slot->tree->data == &mode;
}

// ---- Changing ----

void LinkChild(list_head* siblings, Node* node) {
  AppendChained(ListToJoin(siblings, *node), node);
}

void LinkCopy(Node* node, const Node& source) {
  AppendCopy(ChildrenOf(node->parent), node, source);
}

Tree* EnsureInstanceTree(Node* parent, const char* name) {
  if (Tree* tree = FindInstanceTree(parent, name)) return tree;
  auto tree = NewRecord<Tree>();
  if (tree == nullptr) return nullptr;
  tree->name = strdup(name);
  if (tree->name == nullptr) return nullptr;
  NoteNewTree(ChildrenOf(parent), tree.get());
  return tree.release();
}

Tree* UnlinkChild(Node* node) {
  Tree* tree = FindInstanceTree(node->parent, node->node_name);
  Unchain(node);
  for (list_head* link : {&node->lst, &node->key_lst}) {
    if (link->next != nullptr) Unlink(link);
  }
  if (tree != nullptr && tree->data == node) tree->data = nullptr;
  return tree;
}

}  // namespace nc
