// How everybody reaches a node's children.
//
// A sibling list is `sub_lst` of a node, or `dm_root` of the tree. It may hold a million instances
// of one list, with schema nodes and instances of other lists before, between and behind them. So
// nobody who looks for a name walks it:
//
//   nc_dm_agent_node_t* leaf = nc::FindSchemaChild(&entry->sub_lst, "mtu");
//   for (auto& node : nc::SameNamed(&parent->sub_lst, "interface")) ...  // the list, its entries
//
// Each function gives exactly what a walk of the whole list would give, in list order: normally the
// mode node, then its instances in order of creation. Only a loop that wants every child, whatever
// its name, uses nc::Records<nc_dm_agent_node_t>(siblings).
//
// What makes it fast:
//   - The instances of one list are chained from the instance tree of their name, see first_inst of
//     nc_dm_bin_tree_t, so that a walk over one list never meets the instances of another.
//   - The children of a schema node, and the top level, get a hash index by name when they are
//     searched and found to be many, see shortcut.children of nc_dm_agent_node_t.
//   - In an instance, whose room for an index the chain takes, the schema children come first, so
//     that a search for one stops at the first chained instance. It stops at the first leaf of the
//     name already as long as nobody has linked two of one name, see MayHaveTwins.
// None of them is needed for a correct answer. Where memory is short there is no index. A chain
// that cannot stand for the walk (two nodes of the name that are no instances, ids that are not
// unique, nodes that were linked by other means) is marked broken for good, and the list is walked.
//
// Callers hold the tree's lock, also for a search: it may make an index. `name` must stay valid as
// long as the range made with it.
#ifndef NETCONF_DM_KERNEL_TREE_SIBLINGS_H_
#define NETCONF_DM_KERNEL_TREE_SIBLINGS_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"

namespace nc {

// ---- Kinds ----

inline bool IsInstance(const nc_dm_agent_node_t& node) {
  return node.node_type == NC_DM_NODE_TYPE_MULT_OBJECT ||
         node.node_type == NC_DM_NODE_TYPE_MULT_LEAF;
}

inline bool IsMode(const nc_dm_agent_node_t& node) {
  return node.node_type == NC_DM_NODE_TYPE_MULT_MODE ||
         node.node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE;
}

// A node of the schema, or of the copy of it that an instance holds.
inline bool IsSchema(const nc_dm_agent_node_t& node) {
  return node.node_type == NC_DM_NODE_TYPE_LEAF ||
         node.node_type == NC_DM_NODE_TYPE_SINGLE_OBJECT || IsMode(node);
}

inline bool HasName(const nc_dm_agent_node_t& node, const char* name) {
  return node.node_name != nullptr && std::strcmp(node.node_name, name) == 0;
}

// ---- Searching ----

// The children of one name, in list order. The body of a loop may append to the list; it must not
// remove the current node.
class NamedChildren {
 public:
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = nc_dm_agent_node_t;
    using difference_type = std::ptrdiff_t;
    using pointer = nc_dm_agent_node_t*;
    using reference = nc_dm_agent_node_t&;

    Iterator() = default;

    nc_dm_agent_node_t& operator*() const { return *node_; }
    nc_dm_agent_node_t* operator->() const { return node_; }
    Iterator& operator++() {
      node_ = range_->After(node_, &left_);
      return *this;
    }
    Iterator operator++(int) {
      Iterator before = *this;
      ++*this;
      return before;
    }
    bool operator==(const Iterator& other) const { return node_ == other.node_; }

   private:
    friend class NamedChildren;
    explicit Iterator(const NamedChildren* range)
        : range_(range), node_(range->first_), left_(range->limit_) {}

    const NamedChildren* range_ = nullptr;
    nc_dm_agent_node_t* node_ = nullptr;
    size_t left_ = 0;
  };

  Iterator begin() const { return Iterator(this); }
  Iterator end() const { return {}; }
  nc_dm_agent_node_t* first() const { return first_; }  // or null

 private:
  friend NamedChildren SameNamed(const list_head* siblings, const char* name);
  friend NamedChildren SchemaOf(const list_head* siblings, const char* name);

  static constexpr size_t kUnlimited = ~size_t{0};

  // The next child of the name behind `node`. `*left`: how many there are from `node` on.
  nc_dm_agent_node_t* After(const nc_dm_agent_node_t* node, size_t* left) const;
  nc_dm_agent_node_t* FindFrom(list_head* link) const;

  list_head* siblings_ = nullptr;
  const char* name_ = nullptr;
  nc_dm_agent_node_t* first_ = nullptr;
  const nc_dm_bin_tree_t* chain_ = nullptr;  // walk this chain instead of the list
  size_t limit_ = kUnlimited;      // how many children of the name there are, if that is known
  bool stops_at_chained_ = false;  // no child of the name stands behind a chained instance
};

NamedChildren SameNamed(const list_head* siblings, const char* name);

// The same for who wants none of the entries of the list of that name: a range without most of
// them, and without any as a rule.
NamedChildren SchemaOf(const list_head* siblings, const char* name);

// The first children of all names, one after the other, in no particular order. The loop must not
// change the list.
//
//   for (nc::NameWalk walk(&parent->sub_lst); auto* first = walk.Next();) ...
class NameWalk {
 public:
  explicit NameWalk(const list_head* siblings);
  nc_dm_agent_node_t* Next();

 private:
  list_head* siblings_;
  nc_dm_child_index* index_ = nullptr;  // what is walked: the slots of an index,
  size_t slot_ = 0;
  list_head* link_ = nullptr;  // or the list
};

// The first child of a name, whatever its kind; or null.
nc_dm_agent_node_t* FindChild(const list_head* siblings, const char* name);

// The first child of a name that is no instance; or null.
nc_dm_agent_node_t* FindSchemaChild(const list_head* siblings, const char* name);

// The first child of a name with that instance id; or null. Schema nodes have id 0.
nc_dm_agent_node_t* FindInstance(const list_head* siblings, const char* name, nc_int64 instid);

// The parent's instance tree of a name; null when there is none or an argument is null. As
// nc_dm_agent_get_bin_tree, but silent, and quick for a parent of many lists.
nc_dm_bin_tree_t* FindInstanceTree(nc_dm_agent_node_t* parent, const char* name);

// Number of children. Constant time where the list has an index, otherwise a walk.
size_t CountChildren(const nc_dm_agent_node_t* node);

// How many children of a node are at most no copies: all but the instances that stand beside their
// mode node. Whoever wants these alone stops behind the last of them, normally in front of the
// first instance.
size_t CountOriginals(nc_dm_agent_node_t* node);

// Has an entry's neighbour of the same list, with what is below it, brought near while the entry is
// in hand: a walk over a list that no cache holds waits for memory otherwise. Entries of a list are
// much alike and lie together, see node_record.h, so the neighbour is taken to be as long.
// `longest`: what the walk looks at at most, in bytes.
inline void PrefetchNextEntry(const nc_dm_agent_node_t& entry, uintptr_t longest) {
  if (!IsInstance(entry) || entry.shortcut.same_list.next_inst == nullptr) return;
  constexpr uintptr_t kLine = 64;
  const auto last_child = reinterpret_cast<uintptr_t>(entry.sub_lst.prev);
  const uintptr_t length =
      std::min(last_child - reinterpret_cast<uintptr_t>(&entry) + sizeof(entry), longest);
  const char* next = reinterpret_cast<const char*>(entry.shortcut.same_list.next_inst);
  for (uintptr_t at = 0; at < length; at += kLine) __builtin_prefetch(next + at);
}

// ---- Changing: for those who create and remove nodes ----

// The children of `source` are going to be copied below `copy`: these may have equal names when
// those have.
void CopyTwins(const nc_dm_agent_node_t& source, nc_dm_agent_node_t* copy);

// Appends a node that stands in no instance tree's chain: a schema node, or an instance registered
// by its number. `node->parent` is set; `siblings` is its `sub_lst`, or another list.
void LinkChild(list_head* siblings, nc_dm_agent_node_t* node);

// Appends an instance that was copied from `mode` to the children of its parent and to the chain of
// the instance tree of its name, which is made when there is none. The tree takes `mode` as its
// mode node when it has none and `mode` is its sibling. The tree; null when memory is short, and
// then the instance is linked all the same.
nc_dm_bin_tree_t* LinkInstance(nc_dm_agent_node_t* node, nc_dm_agent_node_t* mode);

// Makes `mode`, a child of its parent, the mode node of the instance tree of its name, which is
// made when there is none. The tree, or null when memory is short.
nc_dm_bin_tree_t* SetModeNode(nc_dm_agent_node_t* mode);

// Two instances of the tree have the same id: it no longer tells which of them comes first.
void BreakChain(nc_dm_bin_tree_t* tree);

// Takes a node out of its siblings, the key leaves and the chain, and clears its tree's reference
// to it. The parent's instance tree of its name, or null.
nc_dm_bin_tree_t* UnlinkChild(nc_dm_agent_node_t* node);

// Frees the shortcuts of a node that is going to be freed.
void ReleaseShortcuts(nc_dm_agent_node_t* node);

// Frees the index of the top level.
void ReleaseRootIndex();

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_TREE_SIBLINGS_H_
