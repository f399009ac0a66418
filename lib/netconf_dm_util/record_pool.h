// Small records that are searched through lie together, apart from the large ones that are made
// between them. The index of a list of a million entries takes 64 megabytes so; one by one from
// malloc its records are strewn over all of the list's gigabyte, and each step of a search waits
// for another page.
//
// A record may also come from malloc and is told apart by its address.
#ifndef NETCONF_DM_UTIL_RECORD_POOL_H_
#define NETCONF_DM_UTIL_RECORD_POOL_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/sanitizers.h"

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
    if constexpr (!kIsUsed) return static_cast<Record*>(calloc(1, sizeof(Record)));
    Slab* slab = SlabWithRoom();
    if (slab == nullptr) return nullptr;
    Slot* slot = slab->free;
    if (slot != nullptr) {
      slab->free = slot->next_free;
    } else {
      slot = slab->At(slab->made++);
    }
    slot->slab = slab;
    slot->record = {};
    if (++slab->used == kSlots) Unlink(&slab->lst);
    return &slot->record;
  }

  void Release(Record* record) {
    if (!IsPooled(record)) return free(record);
    Slot* slot = reinterpret_cast<Slot*>(reinterpret_cast<char*>(record) - kRecordOffset);
    Slab* slab = slot->slab;
    slot->next_free = slab->free;
    slab->free = slot;
    if (slab->used-- == kSlots) PushBack(&with_room_, &slab->lst);
    if (slab->used > 0) return;
    Unlink(&slab->lst);
    free(slab);
  }

 private:
  static_assert(std::is_trivially_destructible_v<Record>);

  struct Slab;

  struct Slot {
    union {
      Slab* slab;
      Slot* next_free;
    };
    Record record;
  };

  // What malloc gives is aligned to this; a record of a slot never is.
  static constexpr size_t kAlignment = alignof(std::max_align_t);
  static constexpr size_t kRecordOffset = offsetof(Slot, record);
  static_assert(kRecordOffset % kAlignment != 0);

  static constexpr size_t kStride = (sizeof(Slot) + kAlignment - 1) / kAlignment * kAlignment;
  static constexpr size_t kSlabBytes = 65536 - 2 * kAlignment;

  struct Slab {
    list_head lst;  // among those with room
    Slot* free;
    uint32_t used;
    uint32_t made;  // slots that were used at all

    // Slots of the size of a cache line are one.
    Slot* At(uint32_t index) {
      const auto behind = reinterpret_cast<uintptr_t>(this + 1);
      return reinterpret_cast<Slot*>((behind + kStride - 1) / kStride * kStride + index * kStride);
    }
  };
  static constexpr uint32_t kSlots = (kSlabBytes - sizeof(Slab) - kStride) / kStride;

  // The sanitizer watches single allocations.
  static constexpr bool kIsUsed = NCDM_ADDRESS_SANITIZER == 0;

  static bool IsPooled(const Record* record) {
    return reinterpret_cast<uintptr_t>(record) % kAlignment != 0;
  }

  Slab* SlabWithRoom() {
    if (with_room_.next == nullptr) InitList(&with_room_);
    if (!IsEmpty(&with_room_)) return reinterpret_cast<Slab*>(with_room_.next);
    auto* slab = static_cast<Slab*>(malloc(kSlabBytes));
    if (slab == nullptr) return nullptr;
    *slab = {};
    PushBack(&with_room_, &slab->lst);
    return slab;
  }

  list_head with_room_ = {};
};

}  // namespace nc

#endif  // NETCONF_DM_UTIL_RECORD_POOL_H_
