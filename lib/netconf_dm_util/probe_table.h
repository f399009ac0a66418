// A hash table with open addressing and linear probing, for memory that may be short.
//
// The slots lie in one array whose size is a power of two. The hash of a key names a slot, its
// home; the key stands there or, where that was taken, in the next slot that was free. A search
// goes from the home to the key or to the first free slot. At most half of the slots are taken, so
// that it soon ends; and when a key goes, those behind it move up, so that it does not end too
// early.
//
// Invariants:
// (1) the capacity is 0, before the first key, or a power of two;
// (2) at most half of the slots are taken;
// (3) no slot between a key's home and the slot where it stands is free.
//
// What a slot holds is the user's business. `Rules` tell the table what it has to know:
//
//   struct Rules {
//     using Key = const char*;  // passed by value
//     static uint32_t Hash(Key key);
//     static uint32_t HashOf(const Slot& slot);  // of the key in a slot that is taken
//     static bool IsFree(const Slot& slot);      // true for a slot of zero bytes
//     static bool Holds(const Slot& slot, Key key);  // of a slot that is taken
//   };
//
// The table owns its slots alone, not what they refer to. Nothing here throws or needs libstdc++ at
// run time: an allocation that fails is a null result, and leaves the table as it was.
#ifndef NETCONF_DM_UTIL_PROBE_TABLE_H_
#define NETCONF_DM_UTIL_PROBE_TABLE_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <type_traits>

#include "netconf_dm_util/malloc_ptr.h"

namespace nc {

template <typename Slot, typename Rules>
class ProbeTable {
 public:
  using Key = typename Rules::Key;

  // Makes room for as many keys, so that Ensure does not fail before there are more. False when
  // memory is short.
  bool Reserve(size_t keys) {
    if (keys > SIZE_MAX / (4 * sizeof(Slot))) return false;
    const size_t wanted = std::bit_ceil(keys * 2);
    return wanted <= capacity_ || MoveTo(wanted);
  }

  // The slot that holds the key, or null.
  Slot* Find(Key key) const {
    if (capacity_ == 0) return nullptr;
    Slot* slot = Probe(key, Rules::Hash(key));
    return Rules::IsFree(*slot) ? nullptr : slot;
  }

  // The slot that holds the key; or one of zero bytes where it belongs, which the caller fills
  // before the next call. Null when memory is short. Slots may move.
  Slot* Ensure(Key key) {
    const uint32_t hash = Rules::Hash(key);
    if (capacity_ != 0) {
      Slot* slot = Probe(key, hash);
      if (!Rules::IsFree(*slot)) return slot;
      if ((used_ + 1) * 2 <= capacity_) return Take(slot);
    }
    return MoveTo(capacity_ == 0 ? kFirstCapacity : capacity_ * 2) ? Take(Probe(key, hash))
                                                                   : nullptr;
  }

  // Frees a slot that was taken. Slots may move.
  void Erase(const Slot* slot) {
    const size_t mask = capacity_ - 1;
    Slot* slots = slots_.get();
    auto gap = static_cast<size_t>(slot - slots);
    for (size_t at = (gap + 1) & mask; !Rules::IsFree(slots[at]); at = (at + 1) & mask) {
      const size_t home = Rules::HashOf(slots[at]) & mask;
      // A key whose home lies behind the gap stays.
      if (((at - home) & mask) < ((at - gap) & mask)) continue;
      slots[gap] = slots[at];
      gap = at;
    }
    slots[gap] = {};
    --used_;
  }

  // All slots, free ones too, in no particular order.
  std::span<Slot> Slots() const { return {slots_.get(), capacity_}; }

  size_t size() const { return used_; }

 private:
  static_assert(std::is_trivially_copyable_v<Slot> && std::is_trivially_destructible_v<Slot>);

  static constexpr size_t kFirstCapacity = 8;

  Slot* Take(Slot* slot) {
    ++used_;
    return slot;
  }

  // The slot that holds the key, or the free one where it belongs.
  Slot* Probe(Key key, uint32_t hash) const {
    const size_t mask = capacity_ - 1;
    for (size_t at = hash & mask;; at = (at + 1) & mask) {
      Slot* slot = &slots_.get()[at];
      if (Rules::IsFree(*slot) || Rules::Holds(*slot, key)) return slot;
    }
  }

  // The free slot where a key belongs that is not in the table.
  Slot* FreeSlot(uint32_t hash) const {
    size_t at = hash & (capacity_ - 1);
    while (!Rules::IsFree(slots_.get()[at])) at = (at + 1) & (capacity_ - 1);
    return &slots_.get()[at];
  }

  // Takes a larger array.
  bool MoveTo(size_t capacity) {
    MallocPtr<Slot> old(static_cast<Slot*>(calloc(capacity, sizeof(Slot))));
    if (old == nullptr) return false;
    slots_.swap(old);
    const std::span<const Slot> moved(old.get(), capacity_);
    capacity_ = capacity;
    for (const Slot& slot : moved) {
      if (!Rules::IsFree(slot)) *FreeSlot(Rules::HashOf(slot)) = slot;
    }
    return true;
  }

  MallocPtr<Slot> slots_;
  size_t capacity_ = 0;
  size_t used_ = 0;
};

}  // namespace nc

#endif  // NETCONF_DM_UTIL_PROBE_TABLE_H_
