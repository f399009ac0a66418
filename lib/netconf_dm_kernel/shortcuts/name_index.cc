#include "netconf_dm_kernel/shortcuts/name_index.h"

#include <cstdlib>
#include <cstring>

#include "netconf_dm_kernel/tree/node_kind.h"

namespace nc {
namespace {

constexpr size_t kFirstCapacity = 16;

// FNV-1a.
uint32_t HashOf(const char* name) {
  uint32_t hash = 2166136261U;
  for (const char* at = name; *at != '\0'; ++at) {
    hash = (hash ^ static_cast<unsigned char>(*at)) * 16777619U;
  }
  return hash;
}

nc_dm_name_index* Allocate(size_t capacity) {
  auto* index = static_cast<nc_dm_name_index*>(
      calloc(1, sizeof(nc_dm_name_index) + capacity * sizeof(NameSlot)));
  if (index != nullptr) index->capacity = capacity;
  return index;
}

// The slot that holds the name, or the free one where it belongs.
NameSlot* Probe(nc_dm_name_index* index, uint32_t hash, const char* name) {
  const size_t mask = index->capacity - 1;
  for (size_t at = hash & mask;; at = (at + 1) & mask) {
    NameSlot* slot = &index->slots[at];
    const char* held = slot->Name();
    if (held == nullptr || (slot->hash == hash && strcmp(held, name) == 0)) return slot;
  }
}

bool Grow(nc_dm_name_index** index) {
  nc_dm_name_index* old = *index;
  nc_dm_name_index* larger = Allocate(old->capacity * 2);
  if (larger == nullptr) return false;
  larger->last_tree = old->last_tree;
  larger->children = old->children;
  larger->used = old->used;
  for (size_t i = 0; i < old->capacity; ++i) {
    const NameSlot& slot = old->slots[i];
    if (slot.Name() != nullptr) *Probe(larger, slot.hash, slot.Name()) = slot;
  }
  free(old);
  *index = larger;
  return true;
}

// The slot of a name, a new one if need be, which the caller fills at once. Null when memory is
// short.
NameSlot* EnsureSlot(nc_dm_name_index** index, const char* name) {
  const uint32_t hash = HashOf(name);
  NameSlot* slot = Probe(*index, hash, name);
  if (slot->Name() != nullptr) return slot;
  if (((*index)->used + 1) * 2 > (*index)->capacity) {
    if (!Grow(index)) return nullptr;
    slot = Probe(*index, hash, name);
  }
  slot->hash = hash;
  ++(*index)->used;
  return slot;
}

// Closes the gap behind a slot that became free, so that no search ends there too early.
void CloseGap(nc_dm_name_index* index, const NameSlot* gap) {
  const size_t mask = index->capacity - 1;
  auto free_at = static_cast<size_t>(gap - index->slots);
  for (size_t at = (free_at + 1) & mask; index->slots[at].Name() != nullptr; at = (at + 1) & mask) {
    const size_t wanted = index->slots[at].hash & mask;
    if (((at - wanted) & mask) < ((at - free_at) & mask)) continue;
    index->slots[free_at] = index->slots[at];
    free_at = at;
  }
  index->slots[free_at] = {};
  --index->used;
}

}  // namespace

nc_dm_name_index* NewNameIndex() { return Allocate(kFirstCapacity); }

NameSlot* FindSlot(nc_dm_name_index* index, const char* name) {
  NameSlot* slot = Probe(index, HashOf(name), name);
  return slot->Name() != nullptr ? slot : nullptr;
}

bool EnterChild(nc_dm_name_index** index, nc_dm_agent_node_t* node) {
  NameSlot* slot = EnsureSlot(index, node->node_name);
  if (slot == nullptr) return false;
  if (slot->first == nullptr) slot->first = node;
  slot->last = node;
  if (!IsCopiedInstance(*node)) ++slot->originals;
  ++(*index)->children;
  return true;
}

bool EnterTree(nc_dm_name_index** index, nc_dm_bin_tree_t* tree) {
  NameSlot* slot = EnsureSlot(index, tree->name);
  if (slot == nullptr) return false;
  if (slot->tree == nullptr) slot->tree = tree;
  return true;
}

bool LeaveChild(nc_dm_name_index* index, const nc_dm_agent_node_t& node) {
  NameSlot* slot = FindSlot(index, node.node_name);
  if (slot == nullptr || slot->first == nullptr) return false;
  if (slot->first == &node) slot->first = node.next_same;
  if (slot->last == &node) slot->last = node.prev_same;
  if (!IsCopiedInstance(node)) --slot->originals;
  --index->children;
  if (slot->Name() == nullptr) CloseGap(index, slot);
  return true;
}

}  // namespace nc
