// The name index of one sibling list: its children by name, once they are many.
//
// A hash table (probe_table.h). A slot knows the first and the last child of a name, which end the
// name's chain (name_chain.h), and the parent's instance tree of that name. The names themselves
// belong to the nodes and the trees. An index holds chained nodes alone.
#ifndef NETCONF_DM_KERNEL_SHORTCUTS_NAME_INDEX_H_
#define NETCONF_DM_KERNEL_SHORTCUTS_NAME_INDEX_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_util/probe_table.h"
#include "netconf_dm_util/text_hash.h"

namespace nc {

struct NameSlot {
  uint32_t hash;
  uint32_t originals;  // children of the name that are no instances copied from a mode node
  nc_dm_agent_node_t* first;
  nc_dm_agent_node_t* last;
  nc_dm_bin_tree_t* tree;

  // Null: the slot is free.
  const char* Name() const {
    if (first != nullptr) return first->node_name;
    return tree != nullptr ? tree->name : nullptr;
  }
};

struct NameRules {
  // A name's hash is compared before the name.
  struct Key {
    explicit Key(const char* text) : name(text), hash(HashOfText(text)) {}
    const char* name;
    uint32_t hash;
  };
  static uint32_t Hash(Key key) { return key.hash; }
  static uint32_t HashOf(const NameSlot& slot) { return slot.hash; }
  static bool IsFree(const NameSlot& slot) { return slot.Name() == nullptr; }
  static bool Holds(const NameSlot& slot, Key key) {
    if (slot.hash != key.hash) return false;
    const char* name = slot.Name();
    return name != nullptr && strcmp(name, key.name) == 0;
  }
};

}  // namespace nc

struct nc_dm_name_index {
  const list_head* last_tree;  // of the parent's list of instance trees when it was read last
  size_t children;
  nc::ProbeTable<nc::NameSlot, nc::NameRules> names;
};

namespace nc {

// Null when memory is short.
nc_dm_name_index* NewNameIndex();
void FreeNameIndex(nc_dm_name_index* index);

// The slot of a name, or null.
inline NameSlot* FindSlot(const nc_dm_name_index& index, const char* name) {
  return index.names.Find(NameRules::Key(name));
}

// Enter the last child of its name, which is chained already; and an instance tree. False when
// memory is short.
bool EnterChild(nc_dm_name_index* index, nc_dm_agent_node_t* node);
bool EnterTree(nc_dm_name_index* index, nc_dm_bin_tree_t* tree);

// Takes a child out, before it leaves its chain. False if it was not in the index.
bool LeaveChild(nc_dm_name_index* index, const nc_dm_agent_node_t& node);

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_SHORTCUTS_NAME_INDEX_H_
