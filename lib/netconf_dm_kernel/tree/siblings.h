// A node's children: searching and changing a sibling list.
//
// A sibling list is `sub_lst` of a node, or `dm_root` of the tree. It may hold a million instances
// of one list, with schema nodes and instances of other lists before, between and behind them. So a
// name is looked for with these functions, never by a walk:
//
//   nc_dm_agent_node_t* leaf = nc::FindSchemaChild(&entry->sub_lst, "mtu");
//   for (auto& node : nc::SameNamed(&parent->sub_lst, "interface")) ...  // the list, its entries
//
// Each function gives exactly what a walk of the whole list would give, in list order: normally the
// mode node, then its instances in order of creation. Only a loop that wants every child, whatever
// its name, uses nc::Records<nc_dm_agent_node_t>(siblings). shortcuts/README.md tells what makes
// them fast, and when they walk after all.
//
// Callers hold the tree's lock, also for a search: it may make an index. `name` must stay valid as
// long as the range made with it.
#ifndef NETCONF_DM_KERNEL_TREE_SIBLINGS_H_
#define NETCONF_DM_KERNEL_TREE_SIBLINGS_H_

#include <cstddef>
#include <iterator>

#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_kernel/tree/node_kind.h"
#include "netconf_dm_kernel/tree/sibling_list.h"

namespace nc {

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
    Iterator(const NamedChildren* range, nc_dm_agent_node_t* node) : range_(range), node_(node) {}

    nc_dm_agent_node_t& operator*() const { return *node_; }
    nc_dm_agent_node_t* operator->() const { return node_; }
    Iterator& operator++() {
      node_ = range_->After(*node_);
      return *this;
    }
    Iterator operator++(int) {
      Iterator before = *this;
      ++*this;
      return before;
    }
    bool operator==(const Iterator& other) const { return node_ == other.node_; }

   private:
    const NamedChildren* range_ = nullptr;
    nc_dm_agent_node_t* node_ = nullptr;
  };

  NamedChildren(const list_head* siblings, const char* name);

  Iterator begin() const { return {this, first_}; }
  Iterator end() const { return {}; }

 private:
  friend NamedChildren SchemaOf(const list_head* siblings, const char* name);

  nc_dm_agent_node_t* After(const nc_dm_agent_node_t& node) const;

  SiblingList list_;
  const char* name_;
  nc_dm_agent_node_t* first_;
  bool is_chained_;
  bool ends_with_first_ = false;
};

inline NamedChildren SameNamed(const list_head* siblings, const char* name) {
  return {siblings, name};
}

// Like SameNamed, for callers that want schema nodes only: leaves out the entries of a list where
// that needs no walk.
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
  SiblingList list_;
  const nc_dm_name_index* index_;  // what is walked: the slots of an index,
  size_t slot_ = 0;
  list_head* link_;  // or the list
};

// The first child of a name, whatever its kind; or null.
nc_dm_agent_node_t* FindChild(const list_head* siblings, const char* name);

// The first child of a name that is no instance; or null.
nc_dm_agent_node_t* FindSchemaChild(const list_head* siblings, const char* name);

// The parent's instance tree of a name; null when there is none or an argument is null. As
// nc_dm_agent_get_bin_tree, but silent, and quick for a parent of many lists.
nc_dm_bin_tree_t* FindInstanceTree(const nc_dm_agent_node_t* parent, const char* name);

// The mode node of an instance tree of the parent, as long as it is among the parent's children; or
// null.
nc_dm_agent_node_t* ModeNodeOf(const nc_dm_bin_tree_t* tree, const nc_dm_agent_node_t* parent);

// Number of children. Constant time where the list has an index, otherwise a walk.
size_t CountChildren(const nc_dm_agent_node_t* node);

// Upper bound on the children that are not plain copies of a mode node; a walk may stop after that
// many.
size_t CountOriginals(const nc_dm_agent_node_t* node);

// True if it is known without a walk that all other children of the mode node's name are copies of
// it.
bool HasCopiesAlone(const nc_dm_agent_node_t& mode);

// ---- Changing, when nodes are created and removed ----

// Appends a node to a list: `sub_lst` of the parent that is set in it, `dm_root`, or another.
void LinkChild(list_head* siblings, nc_dm_agent_node_t* node);

// Appends a copy to a parent that was made just before with the copies in front of it.
void LinkCopy(nc_dm_agent_node_t* node, const nc_dm_agent_node_t& source);

// The instance tree of a name of the parent, made when there is none; null when memory is short.
nc_dm_bin_tree_t* EnsureInstanceTree(nc_dm_agent_node_t* parent, const char* name);

// Takes a node out of its siblings and the key leaves, and clears its tree's reference to it. The
// parent's instance tree of its name, or null.
nc_dm_bin_tree_t* UnlinkChild(nc_dm_agent_node_t* node);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_TREE_SIBLINGS_H_
