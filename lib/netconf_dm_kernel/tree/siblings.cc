#include "netconf_dm_kernel/tree/siblings.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "netconf_dm_kernel/shortcuts/name_index.h"
#include "netconf_dm_kernel/tree/node_record.h"
#include "netconf_dm_util/malloc_ptr.h"

namespace nc {
namespace {

using Node = nc_dm_agent_node_t;
using Tree = nc_dm_bin_tree_t;
using Cursor = decltype(Records<Node>(nullptr))::Iterator;

// Lists up to this length are walked.
constexpr size_t kShortList = 16;

nc_dm_child_index* root_index = nullptr;

// A sibling list, whose it is, and where its index is kept.
struct Siblings {
  list_head* list;
  Node* parent;               // null: the top level, or a list that is no node's
  nc_dm_child_index** index;  // null: such a list gets none
};

Siblings SiblingsOf(const list_head* siblings, Node* parent) {
  auto* list = const_cast<list_head*>(siblings);
  if (parent != nullptr && &parent->sub_lst == list) {
    // In an instance the chain takes the room of the index.
    return {list, parent, IsSchema(*parent) ? &parent->shortcut.children.index : nullptr};
  }
  return {list, nullptr, list == &g_nc_agent_dm.dm_root ? &root_index : nullptr};
}

// Of a list that is not empty.
Siblings SiblingsOf(const list_head* siblings) {
  return SiblingsOf(siblings, Cursor(siblings->next)->parent);
}

// ---- Chains ----

bool HasInstances(const Tree& tree) { return tree.first_inst != nullptr; }

// A last instance without a first one marks a chain that must not be used any more.
bool IsBroken(const Tree& tree) { return !HasInstances(tree) && tree.last_inst != nullptr; }
Node* ModeOf(const Tree& tree) { return static_cast<Node*>(tree.data); }

void BreakAllChains(Node* parent) {
  for (Tree& tree : Records<Tree>(&parent->btree_lst)) BreakChain(&tree);
}

// Was the list left as it was: nodes that somebody links without LinkChild stand at an end of it.
bool HasOwnEnds(const list_head* siblings) {
  return IsOwn(*Cursor(siblings->next)) && IsOwn(*Cursor(siblings->prev));
}

// Do the mode node and the chain of a tree stand for all children of its name, in list order.
bool IsWhole(const Tree& tree, const Siblings& siblings) {
  return !IsBroken(tree) && tree.data != nullptr && ModeOf(tree)->parent == siblings.parent &&
         HasOwnEnds(siblings.list);
}

void Chain(Tree* tree, Node* node) {
  if (IsBroken(*tree)) return;
  node->shortcut.same_list.prev_inst = tree->last_inst;
  if (tree->last_inst != nullptr) {
    tree->last_inst->shortcut.same_list.next_inst = node;
  } else {
    tree->first_inst = node;
  }
  tree->last_inst = node;
}

bool IsInChain(const Tree* tree, const Node* node) {
  const Node* at = tree != nullptr ? tree->first_inst : nullptr;
  while (at != nullptr && at != node) at = at->shortcut.same_list.next_inst;
  return at != nullptr;
}

// Neighbours are joined also when the tree is broken or gone, so that they can be taken out
// themselves.
void Unchain(Tree* tree, Node* node) {
  Node* next = node->shortcut.same_list.next_inst;
  Node* prev = node->shortcut.same_list.prev_inst;
  if (prev != nullptr) prev->shortcut.same_list.next_inst = next;
  if (next != nullptr) next->shortcut.same_list.prev_inst = prev;
  if (tree != nullptr && tree->first_inst == node) tree->first_inst = next;
  if (tree != nullptr && tree->last_inst == node) tree->last_inst = prev;
  node->shortcut.same_list = {};
}

// ---- The index ----

void DropIndex(const Siblings& siblings) {
  free(*siblings.index);
  *siblings.index = nullptr;
  if (siblings.parent != nullptr) siblings.parent->shortcut.children.child_cnt = 0;
}

void NoteEnds(const Siblings& siblings) {
  nc_dm_child_index* index = *siblings.index;
  index->first = siblings.list->next;
  index->last = siblings.list->prev;
  if (siblings.parent != nullptr) index->last_tree = siblings.parent->btree_lst.prev;
}

bool IsUpToDate(const nc_dm_child_index& index, const Siblings& siblings) {
  return index.first == siblings.list->next && index.last == siblings.list->prev &&
         (siblings.parent == nullptr || index.last_tree == siblings.parent->btree_lst.prev);
}

// The index, when there is one that is up to date.
nc_dm_child_index* CurrentIndex(const Siblings& siblings) {
  if (siblings.index == nullptr || *siblings.index == nullptr) return nullptr;
  if (!IsUpToDate(**siblings.index, siblings)) DropIndex(siblings);
  return *siblings.index;
}

bool Enter(const Siblings& siblings, Node* node) {
  if (siblings.parent != nullptr) ++siblings.parent->shortcut.children.child_cnt;
  if (node->node_name == nullptr) return true;
  ChildSlot* slot = EnsureSlot(siblings.index, node->node_name);
  if (slot == nullptr) return false;
  if (slot->first == nullptr) slot->first = node;
  ++slot->count;
  return true;
}

bool Enter(const Siblings& siblings, Tree* tree) {
  ChildSlot* slot = EnsureSlot(siblings.index, tree->name);
  if (slot == nullptr) return false;
  if (slot->tree == nullptr) slot->tree = tree;
  return true;
}

bool EnterAll(const Siblings& siblings) {
  for (Node& node : Records<Node>(siblings.list)) {
    if (!Enter(siblings, &node)) return false;
  }
  if (siblings.parent == nullptr) return true;
  for (Tree& tree : Records<Tree>(&siblings.parent->btree_lst)) {
    if (!Enter(siblings, &tree)) return false;
  }
  return true;
}

// Keeps an index that took in what was appended to a list; another is better dropped than wrong.
void Settle(const Siblings& siblings, bool is_complete) {
  if (is_complete) {
    NoteEnds(siblings);
  } else {
    DropIndex(siblings);
  }
}

bool IsLong(const list_head* siblings) {
  size_t length = 0;
  for ([[maybe_unused]] const Node& node : Records<Node>(siblings)) {
    if (++length > kShortList) return true;
  }
  return false;
}

// The index of a long list, made when it is missing. Null for a short list, and when memory is
// short.
nc_dm_child_index* IndexOfLong(const Siblings& siblings) {
  if (nc_dm_child_index* index = CurrentIndex(siblings)) return index;
  if (siblings.index == nullptr || !IsLong(siblings.list)) return nullptr;
  *siblings.index = NewChildIndex();
  if (*siblings.index != nullptr) Settle(siblings, EnterAll(siblings));
  return *siblings.index;
}

// The next child of the node's name.
Node* NextOfName(const Siblings& siblings, const Node* node, const Tree* tree) {
  if (tree != nullptr && IsWhole(*tree, siblings)) {
    return node == tree->data ? tree->first_inst : node->shortcut.same_list.next_inst;
  }
  Cursor at(const_cast<list_head*>(&node->lst));
  for (++at; at != Cursor(siblings.list); ++at) {
    if (HasName(*at, node->node_name)) return &*at;
  }
  return nullptr;
}

// Takes a node out of the index before it is unlinked.
void Withdraw(const Siblings& siblings, const Node* node, const Tree* tree) {
  if (CurrentIndex(siblings) == nullptr) return;
  if (siblings.parent != nullptr) --siblings.parent->shortcut.children.child_cnt;
  if (node->node_name == nullptr) return;
  ChildSlot* slot = FindSlot(*siblings.index, node->node_name);
  if (slot == nullptr || slot->count == 0) return DropIndex(siblings);
  --slot->count;
  if (slot->first != node) return;
  slot->first = slot->count > 0 ? NextOfName(siblings, node, tree) : nullptr;
  if (slot->count > 0 && slot->first == nullptr) DropIndex(siblings);
}

// ---- Linking ----

size_t CountNamed(const Siblings& siblings, const char* name) {
  if (nc_dm_child_index* index = IndexOfLong(siblings)) {
    const ChildSlot* slot = FindSlot(index, name);
    return slot != nullptr ? slot->count : 0;
  }
  size_t count = 0;
  for (const Node& node : Records<Node>(siblings.list)) {
    if (HasName(node, name)) ++count;
  }
  return count;
}

void Append(const Siblings& siblings, Node* node) {
  // Nodes that were linked by others must not be forgotten when they stand among ours.
  if (siblings.parent != nullptr && !IsEmpty(siblings.list) &&
      !IsOwn(*Cursor(siblings.list->prev))) {
    BreakAllChains(siblings.parent);
    MarkTwins(siblings.parent);
  }
  // A list that instances make long gets its index while it can be read at no cost.
  const bool is_indexed =
      (IsInstance(*node) ? IndexOfLong(siblings) : CurrentIndex(siblings)) != nullptr;
  PushBack(siblings.list, &node->lst);
  if (is_indexed) Settle(siblings, Enter(siblings, node));
}

// May a new child that is in no chain become the mode node of the tree: it is the only child of the
// name.
bool MayBecomeMode(const Siblings& siblings, const Tree& tree, const Node& node) {
  return IsMode(node) && !IsBroken(tree) && CountNamed(siblings, node.node_name) == 1;
}

// A child that is in no chain was appended.
void NoteUnchained(const Siblings& siblings, Node* node) {
  if (siblings.parent == nullptr || IsEmpty(&siblings.parent->btree_lst)) return;
  Tree* tree = FindInstanceTree(siblings.parent, node->node_name);
  if (tree != nullptr && !MayBecomeMode(siblings, *tree, *node)) BreakChain(tree);
  if (siblings.index != nullptr) return;
  // Without an index, a search for a schema child counts on meeting it before any chained instance.
  for (Tree& other : Records<Tree>(&siblings.parent->btree_lst)) {
    if (HasInstances(other)) BreakChain(&other);
  }
}

// A child is going to be appended. Copies that are made together with their parent are as different
// as their sources.
void NoteTwin(const Siblings& siblings, const Node& node) {
  if (siblings.parent == nullptr || node.node_name == nullptr ||
      AreOfOneBlock(*siblings.parent, node) || MayHaveTwins(*siblings.parent)) {
    return;
  }
  if (FindChild(siblings.list, node.node_name) != nullptr) MarkTwins(siblings.parent);
}

// Is a child that is no list and no leaf-list the only one of its name.
bool IsAlone(const Node* child, const Node& parent) {
  return child != nullptr && IsSchema(*child) && !IsMode(*child) && !MayHaveTwins(parent);
}

// As nc_dm_agent_create_bin_tree, of a name that has none.
Tree* NewInstanceTree(const Siblings& siblings, const char* name) {
  auto tree = NewRecord<Tree>();
  if (tree == nullptr) return nullptr;
  tree->name = strdup(name);
  if (tree->name == nullptr) return nullptr;
  const bool is_indexed = CurrentIndex(siblings) != nullptr;
  PushBack(&siblings.parent->btree_lst, &tree->lst);
  if (is_indexed) Settle(siblings, Enter(siblings, tree.get()));
  return tree.release();
}

// The tree of a name. A new one is broken from the start when there are more than `known` children
// of the name.
Tree* EnsureInstanceTree(const Siblings& siblings, const char* name, size_t known) {
  if (Tree* tree = FindInstanceTree(siblings.parent, name)) return tree;
  const bool is_whole = CountNamed(siblings, name) <= known;
  Tree* tree = NewInstanceTree(siblings, name);
  if (tree != nullptr && !is_whole) BreakChain(tree);
  return tree;
}

}  // namespace

// ---- Searching ----

Node* NamedChildren::FindFrom(list_head* link) const {
  for (Cursor at(link); at != Cursor(siblings_); ++at) {
    if (HasName(*at, name_)) return &*at;
    if (!stops_at_chained_ || !IsInstance(*at)) continue;
    const Tree* tree = FindInstanceTree(at->parent, at->node_name);
    if (tree != nullptr && HasInstances(*tree)) return nullptr;
  }
  return nullptr;
}

Node* NamedChildren::After(const Node* node, size_t* left) const {
  if (chain_ != nullptr) {
    return node == chain_->data ? chain_->first_inst : node->shortcut.same_list.next_inst;
  }
  return --*left > 0 ? FindFrom(node->lst.next) : nullptr;
}

NamedChildren SameNamed(const list_head* siblings, const char* name) {
  NamedChildren range;
  if (IsEmpty(siblings)) return range;
  const Siblings where = SiblingsOf(siblings);
  range.siblings_ = where.list;
  range.name_ = name;
  const Tree* tree = FindInstanceTree(where.parent, name);
  if (tree != nullptr && IsWhole(*tree, where)) {
    range.chain_ = tree;
    range.first_ = ModeOf(*tree);
  } else if (nc_dm_child_index* index = IndexOfLong(where)) {
    const ChildSlot* slot = FindSlot(index, name);
    range.first_ = slot != nullptr ? slot->first : nullptr;
    range.limit_ = slot != nullptr ? slot->count : 0;
  } else {
    range.stops_at_chained_ = where.parent != nullptr && where.index == nullptr &&
                              tree == nullptr && HasOwnEnds(where.list);
    range.first_ = range.FindFrom(where.list->next);
    if (range.stops_at_chained_ && IsAlone(range.first_, *where.parent)) range.limit_ = 1;
  }
  return range;
}

NamedChildren SchemaOf(const list_head* siblings, const char* name) {
  NamedChildren range = SameNamed(siblings, name);
  if (range.chain_ != nullptr) {
    // Behind the mode node there are chained instances alone.
    range.chain_ = nullptr;
    range.limit_ = 1;
  }
  return range;
}

NameWalk::NameWalk(const list_head* siblings)
    : siblings_(const_cast<list_head*>(siblings)), link_(siblings_->next) {
  if (!IsEmpty(siblings_)) index_ = IndexOfLong(SiblingsOf(siblings_));
}

Node* NameWalk::Next() {
  while (index_ != nullptr && slot_ < index_->capacity) {
    if (Node* first = index_->slots[slot_++].first) return first;
  }
  while (index_ == nullptr && link_ != siblings_) {
    Node& node = *Cursor(link_);
    link_ = link_->next;
    if (node.node_name != nullptr && FindChild(siblings_, node.node_name) == &node) return &node;
  }
  return nullptr;
}

Node* FindChild(const list_head* siblings, const char* name) {
  size_t passed = 0;
  for (Node& node : Records<Node>(siblings)) {
    if (HasName(node, name)) return &node;
    if (++passed > kShortList) return SameNamed(siblings, name).first();
  }
  return nullptr;
}

Node* FindSchemaChild(const list_head* siblings, const char* name) {
  Node* first = FindChild(siblings, name);
  if (first == nullptr || IsSchema(*first)) return first;
  for (Node& node : SchemaOf(siblings, name)) {
    if (IsSchema(node)) return &node;
  }
  return nullptr;
}

Node* FindInstance(const list_head* siblings, const char* name, nc_int64 instid) {
  if (IsEmpty(siblings)) return nullptr;
  const Siblings where = SiblingsOf(siblings);
  const Tree* tree = FindInstanceTree(where.parent, name);
  // A leaf-list may have been registered with a number of its own.
  if (tree != nullptr && tree->root_byid != nullptr && IsWhole(*tree, where) &&
      ModeOf(*tree)->instid != instid) {
    const nc_dm_bin_tree_node_t* entry =
        nc_dm_agent_search_bin_tree_node_by_instid(tree->root_byid, instid);
    auto* node = entry != nullptr ? static_cast<Node*>(entry->data) : nullptr;
    if (node != nullptr && node->instid == instid && node->parent == where.parent) return node;
  }
  // The instance may be in a hash table, or in no index at all.
  for (Node& node : SameNamed(siblings, name)) {
    if (node.instid == instid) return &node;
  }
  return nullptr;
}

Tree* FindInstanceTree(Node* parent, const char* name) {
  if (parent == nullptr || name == nullptr || IsEmpty(&parent->btree_lst)) return nullptr;
  if (nc_dm_child_index* index = CurrentIndex(SiblingsOf(&parent->sub_lst, parent))) {
    const ChildSlot* slot = FindSlot(index, name);
    return slot != nullptr ? slot->tree : nullptr;
  }
  return nc_dm_agent_get_bin_tree(parent, const_cast<char*>(name));
}

size_t CountChildren(const Node* node) {
  const Siblings siblings = SiblingsOf(&node->sub_lst, const_cast<Node*>(node));
  if (CurrentIndex(siblings) != nullptr) return node->shortcut.children.child_cnt;
  const auto children = Records<Node>(&node->sub_lst);
  return static_cast<size_t>(std::distance(children.begin(), children.end()));
}

size_t CountOriginals(Node* node) {
  const Siblings siblings = SiblingsOf(&node->sub_lst, node);
  const nc_dm_child_index* index = IndexOfLong(siblings);
  if (index == nullptr) return SIZE_MAX;
  size_t originals = node->shortcut.children.child_cnt;
  for (size_t i = 0; i < index->capacity; ++i) {
    const ChildSlot& slot = index->slots[i];
    if (slot.tree != nullptr && slot.count > 0 && IsWhole(*slot.tree, siblings)) {
      originals -= slot.count - 1;
    }
  }
  return originals;
}

// ---- Changing ----

void CopyTwins(const Node& source, Node* copy) {
  if (MayHaveTwins(source) || (!IsEmpty(&source.sub_lst) && !HasOwnEnds(&source.sub_lst))) {
    MarkTwins(copy);
  }
}

void LinkChild(list_head* siblings, Node* node) {
  const Siblings where = SiblingsOf(siblings, node->parent);
  NoteTwin(where, *node);
  Append(where, node);
  NoteUnchained(where, node);
}

Tree* LinkInstance(Node* node, Node* mode) {
  const Siblings where = SiblingsOf(&node->parent->sub_lst, node->parent);
  const bool is_sibling = IsMode(*mode) && mode->parent == node->parent;
  Append(where, node);
  Tree* tree = EnsureInstanceTree(where, node->node_name, is_sibling ? 2 : 1);
  if (tree == nullptr) {
    MarkTwins(node->parent);
    NoteUnchained(where, node);
    return nullptr;
  }
  if (tree->data == nullptr && is_sibling) tree->data = mode;
  Chain(tree, node);
  return tree;
}

Tree* SetModeNode(Node* mode) {
  const Siblings where = SiblingsOf(&mode->parent->sub_lst, mode->parent);
  Tree* tree = EnsureInstanceTree(where, mode->node_name, 1);
  if (tree != nullptr) tree->data = mode;
  return tree;
}

void BreakChain(Tree* tree) {
  tree->first_inst = nullptr;
  tree->last_inst = reinterpret_cast<Node*>(tree);
}

Tree* UnlinkChild(Node* node) {
  Node* parent = node->parent;
  Tree* tree = FindInstanceTree(parent, node->node_name);
  const Siblings where =
      SiblingsOf(parent != nullptr ? &parent->sub_lst : &g_nc_agent_dm.dm_root, parent);
  if (parent != nullptr) {
    Withdraw(where, node, tree);
  } else {
    DropIndex(where);  // a node without a parent need not stand at the top level
  }
  // What was made as an instance is in a chain even if its kind was spoilt since.
  if (IsInstance(*node) || (!IsSchema(*node) && IsInChain(tree, node))) Unchain(tree, node);
  for (list_head* link : {&node->lst, &node->key_lst}) {
    if (link->next != nullptr) Unlink(link);
  }
  if (where.index != nullptr && *where.index != nullptr) NoteEnds(where);
  if (tree != nullptr && tree->data == node) tree->data = nullptr;
  return tree;
}

void ReleaseShortcuts(Node* node) {
  if (!IsSchema(*node)) return;
  free(node->shortcut.children.index);
  node->shortcut.children = {};
}

void ReleaseRootIndex() {
  free(root_index);
  root_index = nullptr;
}

}  // namespace nc
