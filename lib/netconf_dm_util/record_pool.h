// A pool keeps small records together that are searched through, apart from the large records that
// are made between them. The index of a list of a million entries takes 64 megabytes this way. With
// each record from malloc it would be spread over the gigabyte that the list takes, and each step
// of a search would wait for another page.
//
// A record has a field `slab` that says which slab of the pool it belongs to. It is null in a
// record that somebody allocated and cleared himself; such a record is released to malloc.
#ifndef NETCONF_DM_UTIL_RECORD_POOL_H_
#define NETCONF_DM_UTIL_RECORD_POOL_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/poison.h"

namespace nc {

// The records of one type. Callers hold the lock of what the records belong to.
template <typename Record>
class RecordPool {
 public:
  constexpr RecordPool() = default;
  RecordPool(const RecordPool&) = delete;
  RecordPool& operator=(const RecordPool&) = delete;

  // A zeroed record, or null.
  Record* Make() {
    Slab* slab = SlabWithRoom();
    if (slab == nullptr) return nullptr;
    Slot* slot = slab->free;
    if (slot == nullptr) slot = slab->At(slab->made++);
    Unpoison(slot, sizeof(*slot));
    if (slab->free != nullptr) slab->free = slot->next_free;
    slot->record = {};
    slot->record.slab = slab;
    if (++slab->used == kSlots) Unlink(&slab->lst);
    return &slot->record;
  }

  void Release(Record* record) {
    if (record == nullptr || record->slab == nullptr) return free(record);
    auto* slab = static_cast<Slab*>(record->slab);
    auto* slot = reinterpret_cast<Slot*>(record);
    slot->next_free = slab->free;
    slab->free = slot;
    Poison(slot, sizeof(*slot));
    if (slab->used-- == kSlots) PushBack(&with_room_, &slab->lst);
    if (slab->used > 0) return;
    Unlink(&slab->lst);
    Unpoison(slab, kSlabBytes);
    free(slab);
  }

 private:
  static_assert(std::is_trivially_destructible_v<Record>);

  struct Slab;

  union Slot {
    Record record;
    Slot* next_free;
  };

  static constexpr size_t kSlabBytes = 65536 - 2 * alignof(std::max_align_t);

  struct Slab {
    list_head lst;  // among those with room
    Slot* free;
    uint32_t used;
    uint32_t made;  // slots that were handed out at least once

    // Slots begin at multiples of their size, so that one as large as a cache line lies in one.
    Slot* At(uint32_t index) {
      const auto behind = reinterpret_cast<uintptr_t>(this + 1);
      const uintptr_t first = (behind + sizeof(Slot) - 1) / sizeof(Slot) * sizeof(Slot);
      return reinterpret_cast<Slot*>(first) + index;
    }
  };
  static_assert(kSlabBytes > sizeof(Slab) + 2 * sizeof(Slot));
  static constexpr uint32_t kSlots = (kSlabBytes - sizeof(Slab) - sizeof(Slot)) / sizeof(Slot);

  Slab* SlabWithRoom() {
    if (with_room_.next == nullptr) InitList(&with_room_);
    if (!IsEmpty(&with_room_)) return reinterpret_cast<Slab*>(with_room_.next);
    auto* slab = static_cast<Slab*>(malloc(kSlabBytes));
    if (slab == nullptr) return nullptr;
    *slab = {};
    Poison(slab + 1, kSlabBytes - sizeof(Slab));
    PushBack(&with_room_, &slab->lst);
    return slab;
  }

  list_head with_room_ = {};
};

}  // namespace nc

#endif  // NETCONF_DM_UTIL_RECORD_POOL_H_
