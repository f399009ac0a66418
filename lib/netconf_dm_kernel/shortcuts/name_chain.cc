#include "netconf_dm_kernel/shortcuts/name_chain.h"

#include "netconf_dm_kernel/tree/node_kind.h"
#include "netconf_dm_util/intrusive_list.h"

namespace nc {
namespace {

using Node = nc_dm_agent_node_t;
using Tree = nc_dm_bin_tree_t;
using Cursor = decltype(Records<Node>(nullptr))::Iterator;

// Lists up to this length are searched by walking.
constexpr size_t kShortList = 16;

bool IsLong(const list_head* head) {
  size_t length = 0;
  for (const list_head* link = head->next; link != head; link = link->next) {
    if (++length > kShortList) return true;
  }
  return false;
}

void DropIndex(const SiblingList& list) {
  FreeNameIndex(*list.index);
  *list.index = nullptr;
}

// From now on the list is walked.
void GiveUp(const SiblingList& list) {
  if (list.is_walked == nullptr) return;
  *list.is_walked = 1;
  DropIndex(list);
}

// True if the index has seen all instance trees of the parent: an application may make one, or free
// them, by calls of its own.
bool KnowsTrees(const nc_dm_name_index& index, const SiblingList& list) {
  return list.parent == nullptr || index.last_tree == list.parent->btree_lst.prev;
}

// The index when there is one.
nc_dm_name_index* CurrentIndex(const SiblingList& list) {
  if (list.index == nullptr || *list.index == nullptr) return nullptr;
  if (!KnowsTrees(**list.index, list)) DropIndex(list);
  return *list.index;
}

bool EnterAll(const SiblingList& list) {
  for (Node& node : Records<Node>(list.head)) {
    if (!EnterChild(*list.index, &node)) return false;
  }
  if (list.parent == nullptr) return true;
  for (Tree& tree : Records<Tree>(&list.parent->btree_lst)) {
    if (!EnterTree(*list.index, &tree)) return false;
  }
  (*list.index)->last_tree = list.parent->btree_lst.prev;
  return true;
}

// An entry of many leaves is walked, lest each of a million entries gets an index of its own. One
// with lists below it is worth an index.
bool IsWorthIndex(const SiblingList& list) {
  const bool is_plain_entry =
      list.parent != nullptr && IsInstance(*list.parent) && IsEmpty(&list.parent->btree_lst);
  return !is_plain_entry && IsLong(list.head);
}

// The last child of a name in a chained list, or null.
Node* LastOfName(const SiblingList& list, const char* name) {
  if (const nc_dm_name_index* index = IndexOf(list)) {
    const NameSlot* slot = FindSlot(*index, name);
    return slot != nullptr ? slot->last : nullptr;
  }
  for (list_head* link = list.head->prev; link != list.head; link = link->prev) {
    Node& node = *Cursor(link);
    if (HasName(node, name)) return &node;
  }
  return nullptr;
}

void Append(const SiblingList& list, Node* node, Node* last_of_name) {
  PushBack(list.head, &node->lst);
  node->is_chained = 1;
  node->prev_same = last_of_name;
  if (last_of_name != nullptr) last_of_name->next_same = node;
  // No index is better than one that misses a child.
  if (CurrentIndex(list) != nullptr && !EnterChild(*list.index, node)) DropIndex(list);
}

}  // namespace

bool IsChained(const SiblingList& list) {
  if (list.is_walked == nullptr || *list.is_walked != 0) return false;
  return IsEmpty(list.head) ||
         (Cursor(list.head->next)->is_chained != 0 && Cursor(list.head->prev)->is_chained != 0);
}

nc_dm_name_index* IndexOf(const SiblingList& list) {
  if (!IsChained(list)) return nullptr;
  if (nc_dm_name_index* index = CurrentIndex(list)) return index;
  if (!IsWorthIndex(list)) return nullptr;
  *list.index = NewNameIndex();
  if (*list.index != nullptr && !EnterAll(list)) DropIndex(list);
  return *list.index;
}

void AppendChained(const SiblingList& list, Node* node) {
  if (IsEmpty(list.head) && list.is_walked != nullptr) *list.is_walked = 0;
  if (IsChained(list)) return Append(list, node, LastOfName(list, node->node_name));
  GiveUp(list);
  PushBack(list.head, &node->lst);
}

void AppendCopy(const SiblingList& list, Node* node, const Node& source) {
  // The first of a name among the sources is the first among the copies.
  if (source.is_chained == 0 || source.prev_same != nullptr) return AppendChained(list, node);
  Append(list, node, nullptr);
}

void Unchain(Node* node) {
  if (node->is_chained == 0) return;
  const SiblingList list = ListAround(*node);
  if (CurrentIndex(list) != nullptr && !LeaveChild(*list.index, *node)) DropIndex(list);
  if (node->prev_same != nullptr) node->prev_same->next_same = node->next_same;
  if (node->next_same != nullptr) node->next_same->prev_same = node->prev_same;
  node->next_same = nullptr;
  node->prev_same = nullptr;
  node->is_chained = 0;
}

Tree* FindIndexedTree(const SiblingList& list, const char* name) {
  if (const nc_dm_name_index* index = CurrentIndex(list)) {
    const NameSlot* slot = FindSlot(*index, name);
    return slot != nullptr ? slot->tree : nullptr;
  }
  return nc_dm_agent_get_bin_tree(list.parent, const_cast<char*>(name));
}

void NoteNewTree(const SiblingList& list, Tree* tree) {
  const bool is_known = CurrentIndex(list) != nullptr;
  PushBack(&list.parent->btree_lst, &tree->lst);
  if (!is_known) return;
  (*list.index)->last_tree = &tree->lst;
  if (!EnterTree(*list.index, tree)) DropIndex(list);
}

}  // namespace nc
