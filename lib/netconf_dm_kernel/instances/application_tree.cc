// The functions with which an application may build and change an instance tree of its own. The
// library calls none of them: it keeps its trees with instance_balance.cc.
//
// After an insertion the tree can be rebalanced from the root: while one side is heavier by two or
// more, the root moves to the lighter side and its neighbour by id takes its place, and the two
// halves are put right in the same way, down to a bounded depth and with a tolerance that grows.
// That makes the tree as flat as can be, at a price that rises with its size. A deletion does not
// rebalance.
//
// The counts may drift from the truth (a deletion corrects all ancestors on the side where the
// entry hung under its parent). So nothing here relies on them where links are at stake: order,
// links and the entries' completeness are exact whatever the counts say.

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_kernel/instances/instance_entry.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/refuse.h"

namespace {

using nc::instance_tree::ClearLinks;
using nc::instance_tree::Entry;
using nc::instance_tree::Left;
using nc::instance_tree::Link;
using nc::instance_tree::LinkSubtree;
using nc::instance_tree::Right;

template <typename Side>
Entry* Outermost(Entry* entry, int flag) {
  const nc_int32 change = (flag > 0) - (flag < 0);
  Side::Count(entry) += change;
  while (Side::Child(entry) != nullptr) {
    entry = Side::Child(entry);
    Side::Count(entry) += change;
  }
  return entry;
}

// Takes the entry nearest to the middle out of the half `top`, which hangs on `Side` and has
// something on its inner side.
template <typename Side>
Entry* DetachInnermost(Entry* top) {
  using Inner = typename Side::Opposite;
  Entry* innermost = Outermost<Inner>(Inner::Child(top), -1);
  --Inner::Count(top);
  LinkSubtree<Inner>(innermost->parent, Side::Child(innermost));
  ClearLinks(innermost);
  return innermost;
}

// Hangs a single entry at the inner edge of the half `top` on `Side`.
template <typename Side>
void AttachInnermost(Entry* top, Entry* entry) {
  using Inner = typename Side::Opposite;
  if (Inner::Child(top) == nullptr) {
    Inner::Child(top) = entry;
    entry->parent = top;
  } else {
    Link<Inner>(Outermost<Inner>(Inner::Child(top), +1), entry, 1);
  }
  ++Inner::Count(top);
}

// Moves roots of a subtree to its lighter side until the sides are as even as the growing tolerance
// asks. The subtree's new top, whose parent the caller sets.
Entry* Balanced(Entry* top, int level) {
  if (level > NC_DM_MAX_BALANCE_LEVEL) return top;
  for (int64_t tolerance = 1;; ++tolerance) {
    const int64_t difference = int64_t{top->left_cnt} - top->right_cnt;
    if (std::abs(difference) <= tolerance) return top;
    Entry* adjusted = nc_dm_agent_adjust_bin_tree(top, level + 1);
    if (adjusted == nullptr) return nc::Refuse(top, "The binary tree node ret is null!\n");
    top = adjusted;
  }
}

// Puts the neighbour of `cur` on its heavy side in its place, and `cur` on the light side.
template <typename Heavy>
Entry* MoveToLightSide(Entry* cur, int level) {
  using Light = typename Heavy::Opposite;
  Entry* heavy = Heavy::Child(cur);
  Entry* light = Light::Child(cur);
  if (heavy == nullptr) {
    NC_DM_LOG_ERROR("The binary tree node cur->%s is null!\n", Heavy::kName);
    return nullptr;
  }
  ClearLinks(cur);
  heavy->parent = nullptr;
  if (light != nullptr) light->parent = nullptr;

  Entry* root = heavy;
  if (Light::Child(heavy) != nullptr) {
    root = DetachInnermost<Heavy>(heavy);
    LinkSubtree<Heavy>(root, Balanced(heavy, level));
  } else if (Entry* outer = Heavy::Child(root)) {
    Link<Heavy>(root, Balanced(outer, level), Heavy::Count(root));
  }

  if (light == nullptr) {
    Link<Light>(root, cur, 1);
  } else {
    AttachInnermost<Light>(light, cur);
    LinkSubtree<Light>(root, Balanced(light, level));
  }
  return root;
}

// Joins the halves that a deleted entry leaves: the innermost entry of `half`, which hung on
// `Side`, comes on top.
template <typename Side>
Entry* JoinHalves(Entry* half, Entry* other) {
  using Inner = typename Side::Opposite;
  Entry* top = half;
  if (Inner::Child(half) != nullptr) {
    top = DetachInnermost<Side>(half);
    LinkSubtree<Side>(top, half);
  }
  if (other != nullptr) LinkSubtree<Inner>(top, other);
  return top;
}

// The counts choose the half that gives the new top; an empty half gives nothing, so then it is the
// other one.
Entry* Replacement(const Entry* node, Entry* left, Entry* right) {
  if (left == nullptr && right == nullptr) return nullptr;
  const bool from_right =
      left == nullptr || (right != nullptr && node->left_cnt <= node->right_cnt);
  return from_right ? JoinHalves<Right>(right, left) : JoinHalves<Left>(left, right);
}

// Takes a child off its parent. Every ancestor loses one on the same side, also those that hold it
// on the other.
template <typename Side>
void UnlinkFrom(Entry* parent) {
  Side::Child(parent) = nullptr;
  for (Entry* ancestor = parent; ancestor != nullptr; ancestor = ancestor->parent) {
    --Side::Count(ancestor);
  }
}

// One step down: the child on the side, counted, or null when the new entry was attached there.
template <typename Side>
Entry* DescendOrAttach(Entry* at, Entry* new_node) {
  Entry* child = Side::Child(at);
  if (child == nullptr) {
    Link<Side>(at, new_node, 1);
  } else {
    ++Side::Count(at);
  }
  return child;
}

}  // namespace

int nc_dm_agent_insert_bin_tree_node(nc_dm_bin_tree_node_t* root, nc_dm_bin_tree_node_t* new_node) {
  if (root == nullptr || new_node == nullptr) {
    return nc::Refuse("The input binary tree node arguments is null!\n");
  }
  // An id that is there already ends the walk, and the counts above it stay one too high: instances
  // are unique.
  for (Entry* at = root; at != nullptr && at->id != new_node->id;) {
    at = new_node->id > at->id ? DescendOrAttach<Right>(at, new_node)
                               : DescendOrAttach<Left>(at, new_node);
  }
  return 0;
}

nc_dm_bin_tree_node_t* nc_dm_agent_get_bin_tree_left(nc_dm_bin_tree_node_t* cur, int flag) {
  if (cur == nullptr) return nc::Refuse(nullptr, "The input binary tree node argument is null.\n");
  return Outermost<Left>(cur, flag);
}

nc_dm_bin_tree_node_t* nc_dm_agent_get_bin_tree_right(nc_dm_bin_tree_node_t* cur, int flag) {
  if (cur == nullptr) return nc::Refuse(nullptr, "The input binary tree node argument is null.\n");
  return Outermost<Right>(cur, flag);
}

nc_dm_bin_tree_node_t* nc_dm_agent_adjust_bin_tree(nc_dm_bin_tree_node_t* cur, int level) {
  if (cur == nullptr) return nc::Refuse(nullptr, "The input binary tree node argument is null!\n");
  // A count that has drifted below zero stands for an empty side.
  const nc_int32 difference = std::max(cur->left_cnt, 0) - std::max(cur->right_cnt, 0);
  if (difference > 1) return MoveToLightSide<Left>(cur, level);
  if (difference < -1) return MoveToLightSide<Right>(cur, level);
  return cur;
}

nc_dm_bin_tree_node_t* nc_dm_agent_delete_bin_tree_node(nc_dm_bin_tree_node_t* node) {
  if (node == nullptr) return nc::Refuse(nullptr, "The input binary tree node argument is null.\n");
  Entry* parent = node->parent;
  Entry* left = node->left;
  Entry* right = node->right;
  node->parent = nullptr;
  node->left = nullptr;
  node->right = nullptr;
  const bool was_left = parent != nullptr && parent->left == node;
  if (parent != nullptr) was_left ? UnlinkFrom<Left>(parent) : UnlinkFrom<Right>(parent);
  if (left != nullptr) left->parent = nullptr;
  if (right != nullptr) right->parent = nullptr;

  Entry* replacement = Replacement(node, left, right);
  if (replacement == nullptr || parent == nullptr) return replacement;
  was_left ? LinkSubtree<Left>(parent, replacement) : LinkSubtree<Right>(parent, replacement);
  return replacement;
}
