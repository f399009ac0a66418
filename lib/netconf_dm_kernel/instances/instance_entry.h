// Links and counts of an instance tree's entries, for the code that restructures the tree.
#ifndef NETCONF_DM_KERNEL_INSTANCES_INSTANCE_ENTRY_H_
#define NETCONF_DM_KERNEL_INSTANCES_INSTANCE_ENTRY_H_

#include "netconf_dm_kernel/indexes.h"

namespace nc::instance_tree {

using Entry = nc_dm_bin_tree_node_t;

// The two sides of an entry: code that restructures is written once, for a side and its opposite.
struct Right;

struct Left {
  using Opposite = Right;
  static constexpr const char* kName = "left";
  static constexpr bool kIsLeft = true;
  static Entry*& Child(Entry* entry) { return entry->left; }
  static nc_int32& Count(Entry* entry) { return entry->left_cnt; }
};

struct Right {
  using Opposite = Left;
  static constexpr const char* kName = "right";
  static constexpr bool kIsLeft = false;
  static Entry*& Child(Entry* entry) { return entry->right; }
  static nc_int32& Count(Entry* entry) { return entry->right_cnt; }
};

inline nc_int32 SizeOf(const Entry* top) { return top->left_cnt + top->right_cnt + 1; }

template <typename Side>
void Link(Entry* parent, Entry* child, nc_int32 count) {
  Side::Child(parent) = child;
  Side::Count(parent) = count;
  if (child != nullptr) child->parent = parent;
}

// Links a whole subtree, which may be empty.
template <typename Side>
void LinkSubtree(Entry* parent, Entry* top) {
  Link<Side>(parent, top, top == nullptr ? 0 : SizeOf(top));
}

inline void ClearLinks(Entry* entry) {
  entry->left = nullptr;
  entry->right = nullptr;
  entry->parent = nullptr;
  entry->left_cnt = 0;
  entry->right_cnt = 0;
}

}  // namespace nc::instance_tree

#endif  // NETCONF_DM_KERNEL_INSTANCES_INSTANCE_ENTRY_H_
