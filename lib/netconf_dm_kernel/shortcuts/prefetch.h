// Fetches memory that a walk is going to need while it works on the entry before.
#ifndef NETCONF_DM_KERNEL_SHORTCUTS_PREFETCH_H_
#define NETCONF_DM_KERNEL_SHORTCUTS_PREFETCH_H_

#include <algorithm>
#include <cstdint>

#include "netconf_dm_kernel/tree.h"

namespace nc {

// Fetches the next entry of a list, with what is below it: a walk over a list that no cache holds
// waits for memory otherwise. Entries of a list are much alike and each lies in a block, so the
// next one is taken to be as long. `longest`: the bytes of an entry that the walk reads at most.
inline void PrefetchNextEntry(const nc_dm_agent_node_t& entry, uintptr_t longest) {
  if (entry.block_offset == 0 || entry.next_same == nullptr) return;
  constexpr uintptr_t kLine = 64;
  const auto last_child = reinterpret_cast<uintptr_t>(entry.sub_lst.prev);
  const uintptr_t length =
      std::min(last_child - reinterpret_cast<uintptr_t>(&entry) + sizeof(entry), longest);
  const char* next = reinterpret_cast<const char*>(entry.next_same);
  for (uintptr_t at = 0; at < length; at += kLine) {
    __builtin_prefetch(next + at);
    // A loop that only fetches has no effect in the compiler's eyes, and goes without this.
    __asm__ volatile("");
  }
}

}  // namespace nc

#endif  // NETCONF_DM_KERNEL_SHORTCUTS_PREFETCH_H_
