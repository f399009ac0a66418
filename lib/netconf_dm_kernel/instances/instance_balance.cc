// The balance of the instance trees that the library keeps.
//
// The weight of a side of an entry is one more than the number of entries on that side. After each
// insertion and each removal:
//  (1) The counts of every entry are those of its sides.
//  (2) Below the root, neither side of an entry weighs more than 5/2 of the other. So each step
//      down leaves at most 5/7 of the weight, and n entries are less than 2.06 log2(n + 1) deep.
//  (3) The counts of the root differ by at most 1.
//
// An entry that comes or goes changes one count of each entry above it by one. An entry that then
// breaks (2) is mended by rotation, from the lowest up: once, or twice where its heavy side is
// heavy on the inner side; with the factor 3/2 there, (2) always holds afterwards. A root that then
// breaks (3) moves over to its lighter side, and its neighbour on the heavier side takes its place:
// one entry leaves one side and one comes to the other. So no operation takes more than three ways
// through the tree, whatever the number of entries.
//
// Where the place of an entry is searched for, the counts change on the way down, which has read
// them anyway. Few ways make an entry lopsided, and only these are gone back up.
//
// An application that calls the functions of application_tree.cc on a tree of the library's can
// leave counts that are not true. So no count says whether a link can be followed, and such a tree
// is evened out only as entries come and go.

#include "netconf_dm_kernel/instances/instance_balance.h"

#include <cstdint>

#include "netconf_dm_kernel/instances/instance_entry.h"

namespace {

using nc::instance_tree::Entry;
using nc::instance_tree::Left;
using nc::instance_tree::Link;
using nc::instance_tree::LinkSubtree;
using nc::instance_tree::Right;

template <typename Side>
int64_t Weight(Entry* entry) {
  return int64_t{Side::Count(entry)} + 1;
}

// True if one side weighs more than 5/2 of the other. Neither comparison often holds, while a
// branch on which side is heavier would be mispredicted at every other entry.
bool IsLopsided(Entry* entry) {
  const int64_t left = Weight<Left>(entry);
  const int64_t right = Weight<Right>(entry);
  return 2 * left > 5 * right || 2 * right > 5 * left;
}

template <typename Heavy>
bool IsHeavyInside(Entry* heavy) {
  using Inner = typename Heavy::Opposite;
  return Inner::Child(heavy) != nullptr && 2 * Weight<Inner>(heavy) >= 3 * Weight<Heavy>(heavy);
}

// The child on `Side` takes the place of `top`. The caller links it.
template <typename Side>
Entry* Raise(Entry* top) {
  using Other = typename Side::Opposite;
  Entry* raised = Side::Child(top);
  LinkSubtree<Side>(top, Other::Child(raised));
  LinkSubtree<Other>(raised, top);
  return raised;
}

bool IsLeftChild(const Entry* entry) { return entry->parent->left == entry; }

// Puts `child`, which may be null, below the parent, whose counts stay as they are.
void LinkChild(Entry* parent, bool is_left, Entry* child) {
  (is_left ? parent->left : parent->right) = child;
  if (child != nullptr) child->parent = parent;
}

template <typename Heavy>
void Relieve(Entry* top) {
  Entry* heavy = Heavy::Child(top);
  if (heavy == nullptr) return;
  Entry* parent = top->parent;
  const bool is_left = IsLeftChild(top);
  if (IsHeavyInside<Heavy>(heavy)) {
    LinkSubtree<Heavy>(top, Raise<typename Heavy::Opposite>(heavy));
  }
  LinkChild(parent, is_left, Raise<Heavy>(top));
}

// Mends an entry below the root if it breaks (2).
void Mend(Entry* at) {
  if (IsLopsided(at)) at->left_cnt > at->right_cnt ? Relieve<Left>(at) : Relieve<Right>(at);
}

// Counts what came to one side of `at`; or left it, with `change` -1.
void Count(Entry* at, bool is_left, nc_int32 change) {
  // One of the two summands is 0: without a branch on the side, which is as hard to predict.
  const nc_int32 left_change = change * static_cast<nc_int32>(is_left);
  at->left_cnt += left_change;
  at->right_cnt += change - left_change;
}

// ---- Ways down, on which the entry that comes or goes at their end is counted ----

// Where a way down has come to, and the highest entry on it that its counting made lopsided; null
// for none.
struct Way {
  Entry* end;
  Entry* highest = nullptr;

  void NoteIf(bool is_lopsided) {
    if (highest == nullptr && is_lopsided) highest = end;
  }
};

// Mends what a way made lopsided, from its end `at` up to the highest. The root is left as it is.
void MendBack(Entry* at, const Entry* highest) {
  if (highest == nullptr) return;
  for (bool is_last = false; !is_last && at->parent != nullptr;) {
    Entry* parent = at->parent;
    is_last = at == highest;
    Mend(at);
    at = parent;
  }
}

// The way along the edge on `Side` of the half `top`, to its last entry. The others are counted.
template <typename Side>
Way AlongEdge(Entry* top, nc_int32 change) {
  Way way{top};
  for (; Side::Child(way.end) != nullptr; way.end = Side::Child(way.end)) {
    Side::Count(way.end) += change;
    way.NoteIf(IsLopsided(way.end));
  }
  return way;
}

// ---- Ways up ----

// Counts what left one side of `at` there and further up, and mends each entry on the way. The
// root.
Entry* UncountUpwards(Entry* at, bool is_left) {
  while (true) {
    Count(at, is_left, -1);
    Entry* parent = at->parent;
    if (parent == nullptr) return at;
    is_left = IsLeftChild(at);
    Mend(at);
    at = parent;
  }
}

// Takes out an entry with one child at most. The root of what is left.
Entry* Detach(Entry* entry) {
  Entry* child = entry->left != nullptr ? entry->left : entry->right;
  Entry* parent = entry->parent;
  if (parent == nullptr) {
    if (child != nullptr) child->parent = nullptr;
    return child;
  }
  const bool is_left = IsLeftChild(entry);
  LinkChild(parent, is_left, child);
  return UncountUpwards(parent, is_left);
}

// Gives `entry`, which is in no tree, the links and counts of `old`, which then is in none.
void TakePlace(Entry* entry, Entry* old) {
  Link<Left>(entry, old->left, old->left_cnt);
  Link<Right>(entry, old->right, old->right_cnt);
  entry->parent = nullptr;
  if (old->parent != nullptr) LinkChild(old->parent, IsLeftChild(old), entry);
  nc::instance_tree::ClearLinks(old);
}

template <typename Side>
Entry* Outermost(Entry* entry) {
  while (Side::Child(entry) != nullptr) entry = Side::Child(entry);
  return entry;
}

// The entry next to `entry` by id, on a side that is not empty.
template <typename Side>
Entry* Neighbour(Entry* entry) {
  return Outermost<typename Side::Opposite>(Side::Child(entry));
}

// Takes the neighbour of the root on its heavy side out of that. The root breaks no rule by it.
template <typename Heavy>
Entry* TakeNeighbour(Entry* root) {
  using Light = typename Heavy::Opposite;
  const Way way = AlongEdge<Light>(Heavy::Child(root), -1);
  Entry* parent = way.end->parent;
  LinkChild(parent, IsLeftChild(way.end), Heavy::Child(way.end));
  --Heavy::Count(root);
  MendBack(parent, way.highest);
  return way.end;
}

// Hangs a single entry between the root and its light side.
template <typename Heavy>
void PutNeighbour(Entry* root, Entry* entry) {
  using Light = typename Heavy::Opposite;
  ++Light::Count(root);
  Entry* light = Light::Child(root);
  if (light == nullptr) return Link<Light>(root, entry, 1);
  const Way way = AlongEdge<Heavy>(light, +1);
  Link<Heavy>(way.end, entry, 1);
  MendBack(way.end, way.highest);
}

// Moves the root to its light side. The neighbour that took its place.
template <typename Heavy>
Entry* MoveToLightSide(Entry* root) {
  Entry* new_root = TakeNeighbour<Heavy>(root);
  TakePlace(new_root, root);
  PutNeighbour<Heavy>(new_root, root);
  return new_root;
}

Entry* WithEvenSides(Entry* root) {
  while (root->left_cnt - root->right_cnt > 1 && root->left != nullptr) {
    root = MoveToLightSide<Left>(root);
  }
  while (root->right_cnt - root->left_cnt > 1 && root->right != nullptr) {
    root = MoveToLightSide<Right>(root);
  }
  return root;
}

// Takes out any entry. The root of what is left: the same as before, unless that was the entry.
Entry* TakeOut(Entry* entry) {
  if (entry->left == nullptr || entry->right == nullptr) return Detach(entry);
  Entry* replacement =
      entry->left_cnt > entry->right_cnt ? Neighbour<Left>(entry) : Neighbour<Right>(entry);
  Entry* root = Detach(replacement);
  TakePlace(replacement, entry);
  return root == entry ? replacement : root;
}

}  // namespace

bool nc::InsertInstance(nc_dm_bin_tree_t* tree, nc_dm_bin_tree_node_t* entry) {
  Entry* root = tree->root_byid;
  if (root == nullptr) {
    tree->root_byid = entry;
    return true;
  }
  Way way{root};
  while (way.end->id != entry->id) {
    // Both children, before it is known which, as in a search.
    __builtin_prefetch(way.end->left);
    __builtin_prefetch(way.end->right);
    const bool is_left = entry->id < way.end->id;
    Count(way.end, is_left, +1);
    way.NoteIf(IsLopsided(way.end));
    Entry* child = is_left ? way.end->left : way.end->right;
    if (child == nullptr) {
      LinkChild(way.end, is_left, entry);
      MendBack(way.end, way.highest);
      tree->root_byid = WithEvenSides(root);
      return true;
    }
    way.end = child;
  }
  if (way.end->parent != nullptr) UncountUpwards(way.end->parent, IsLeftChild(way.end));
  return false;
}

void nc::RemoveInstance(nc_dm_bin_tree_t* tree, nc_dm_bin_tree_node_t* entry) {
  const bool was_root = entry->parent == nullptr;
  Entry* root = TakeOut(entry);
  nc::instance_tree::ClearLinks(entry);
  // An entry without a place in this tree leaves its root alone.
  if (tree == nullptr || tree->root_byid != (was_root ? entry : root)) return;
  tree->root_byid = root == nullptr ? nullptr : WithEvenSides(root);
}
