// What has to be done to turn one configuration into another.
#ifndef NCDM_SERVER_NETCONF_DEVICE_DIFFERENCE_H_
#define NCDM_SERVER_NETCONF_DEVICE_DIFFERENCE_H_

#include <functional>
#include <unordered_map>
#include <vector>

#include "server/netconf/device/tree.h"

namespace ncdm::netconf {

struct Change {
  enum class Kind {
    kDeleteLeaves,  // leaves and leaf-list values of one container or entry
    kDeleteEntry,   // with everything in it
    kCreateEntry,   // with its keys and leaves; entries in it follow
    kWriteLeaves,
  };

  Kind kind;
  // The entry; or the container or entry around the leaves, null at the top. Of the old tree for
  // deletions, of the new one else.
  const lyd_node* node;
  std::vector<const lyd_node*> leaves{};
  // For kWriteLeaves: what each leaf is now, null where it is not there.
  std::vector<const lyd_node*> old_leaves{};

  bool deletes() const { return kind == Kind::kDeleteLeaves || kind == Kind::kDeleteEntry; }
};

struct Difference {
  std::vector<Change> changes;  // deletions first; entries before what is in them
  // The old tree's entry for each entry of the new one that both have.
  std::unordered_map<const lyd_node*, const lyd_node*> old_entries{};
};

// True for nodes that are compared; others are taken for equal.
using Compares = std::function<bool(const lysc_node* schema)>;

Difference Compare(const Tree& old_tree, const Tree& new_tree, const Compares& compares);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_DIFFERENCE_H_
