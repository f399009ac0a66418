#include "netconf_dm_kernel/shortcuts/name_index.h"

#include <cstdlib>
#include <cstring>

namespace nc {
namespace {

constexpr size_t kFirstCapacity = 16;

// FNV-1a; 0 is kept for slots that were never used.
uint32_t HashOf(const char* name) {
  uint32_t hash = 2166136261U;
  for (const char* at = name; *at != '\0'; ++at) {
    hash = (hash ^ static_cast<unsigned char>(*at)) * 16777619U;
  }
  return hash != 0 ? hash : 1;
}

nc_dm_child_index* Allocate(size_t capacity) {
  auto* index = static_cast<nc_dm_child_index*>(
      calloc(1, sizeof(nc_dm_child_index) + capacity * sizeof(ChildSlot)));
  if (index != nullptr) index->capacity = capacity;
  return index;
}

bool Holds(const ChildSlot& slot, uint32_t hash, const char* name) {
  if (slot.hash != hash) return false;
  const char* held = slot.Name();
  return held != nullptr && strcmp(held, name) == 0;
}

// The slot that holds the name, or the unused one where it belongs.
ChildSlot* Probe(nc_dm_child_index* index, uint32_t hash, const char* name) {
  const size_t mask = index->capacity - 1;
  size_t at = hash & mask;
  while (index->slots[at].hash != 0 && !Holds(index->slots[at], hash, name)) at = (at + 1) & mask;
  return &index->slots[at];
}

// A copy with room for more names, without the slots whose name is gone.
nc_dm_child_index* Enlarged(const nc_dm_child_index* index) {
  nc_dm_child_index* larger = Allocate(index->capacity * 2);
  if (larger == nullptr) return nullptr;
  larger->first = index->first;
  larger->last = index->last;
  larger->last_tree = index->last_tree;
  for (size_t i = 0; i < index->capacity; ++i) {
    const ChildSlot& slot = index->slots[i];
    const char* name = slot.Name();
    if (name == nullptr) continue;
    *Probe(larger, slot.hash, name) = slot;
    ++larger->used;
  }
  return larger;
}

}  // namespace

nc_dm_child_index* NewChildIndex() { return Allocate(kFirstCapacity); }

ChildSlot* FindSlot(nc_dm_child_index* index, const char* name) {
  ChildSlot* slot = Probe(index, HashOf(name), name);
  return slot->hash != 0 ? slot : nullptr;
}

ChildSlot* EnsureSlot(nc_dm_child_index** index, const char* name) {
  const uint32_t hash = HashOf(name);
  ChildSlot* slot = Probe(*index, hash, name);
  if (slot->hash != 0) return slot;
  if ((*index)->used >= (*index)->capacity / 2) {
    nc_dm_child_index* larger = Enlarged(*index);
    if (larger == nullptr) return nullptr;
    free(*index);
    *index = larger;
    slot = Probe(larger, hash, name);
  }
  slot->hash = hash;
  ++(*index)->used;
  return slot;
}

}  // namespace nc
