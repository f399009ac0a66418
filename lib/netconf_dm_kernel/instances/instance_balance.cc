// Entering an instance in its list's tree.
//
// Up to a size the tree is rebalanced from the root (nc_dm_agent_adjust_bin_tree), which keeps it
// as flat as can be. That moves entries one by one, on every level of the tree, so that its cost
// rises with the size: 200 microseconds for each of 64,000 ids in rising order. A larger tree is
// rebalanced along the path of the new entry instead, by rotations that keep each side of an entry
// at most three times as heavy as the other.

#include "netconf_dm_kernel/instances/instance_balance.h"

#include <algorithm>
#include <cstdint>

#include "netconf_dm_kernel/instances/instance_entry.h"

namespace {

using nc::instance_tree::Entry;
using nc::instance_tree::Left;
using nc::instance_tree::LinkSubtree;
using nc::instance_tree::Right;
using nc::instance_tree::SizeOf;

constexpr nc_int32 kMaxSizeForRoot = 128;

// With these two factors one rotation, or two, always restore the balance after one insertion.
constexpr int64_t kHeavier = 3;
constexpr int64_t kInnerHeavier = 2;

// Counts may have drifted below zero.
template <typename Side>
int64_t Weight(Entry* entry) {
  return std::max<int64_t>(Side::Count(entry), 0) + 1;
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

template <typename Heavy>
Entry* Relieved(Entry* top) {
  using Light = typename Heavy::Opposite;
  Entry* heavy = Heavy::Child(top);
  if (heavy == nullptr) return top;
  const bool is_inner_heavy = Weight<Light>(heavy) >= kInnerHeavier * Weight<Heavy>(heavy);
  if (is_inner_heavy && Light::Child(heavy) != nullptr) {
    LinkSubtree<Heavy>(top, Raise<Light>(heavy));
  }
  return Raise<Heavy>(top);
}

// The new top of a subtree, not yet linked to the entry above.
Entry* Rotated(Entry* top) {
  const int64_t left = Weight<Left>(top);
  const int64_t right = Weight<Right>(top);
  if (left > kHeavier * right) return Relieved<Left>(top);
  if (right > kHeavier * left) return Relieved<Right>(top);
  return top;
}

// Rebalances from an entry up. The new root.
Entry* RotatedUpwards(Entry* at) {
  while (true) {
    Entry* parent = at->parent;
    Entry* top = Rotated(at);
    top->parent = parent;
    if (parent == nullptr) return top;
    (parent->left == at ? parent->left : parent->right) = top;
    at = parent;
  }
}

}  // namespace

bool nc::InsertInstance(nc_dm_bin_tree_t* tree, nc_dm_bin_tree_node_t* entry) {
  Entry*& root = tree->root_byid;
  if (root == nullptr) {
    root = entry;
    return true;
  }
  nc_dm_agent_insert_bin_tree_node(root, entry);
  const bool is_inserted = entry->parent != nullptr;
  if (SizeOf(root) <= kMaxSizeForRoot) {
    Entry* adjusted = nc_dm_agent_adjust_bin_tree(root, 1);
    if (adjusted != nullptr) root = adjusted;
  } else if (is_inserted) {
    root = RotatedUpwards(entry->parent);
  }
  return is_inserted;
}
