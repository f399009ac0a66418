// Memory that belongs to a pool or a block and that nobody may touch at the moment. The address
// sanitizer is told, so that it watches pooled records like allocations of their own; in other
// builds nothing happens.
#ifndef NETCONF_DM_UTIL_POISON_H_
#define NETCONF_DM_UTIL_POISON_H_

#include <cstddef>

#include "netconf_dm_util/sanitizers.h"

#if NCDM_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace nc {

inline void Poison([[maybe_unused]] void* memory, [[maybe_unused]] size_t size) {
#if NCDM_ADDRESS_SANITIZER
  ASAN_POISON_MEMORY_REGION(memory, size);
#endif
}

inline void Unpoison([[maybe_unused]] void* memory, [[maybe_unused]] size_t size) {
#if NCDM_ADDRESS_SANITIZER
  ASAN_UNPOISON_MEMORY_REGION(memory, size);
#endif
}

}  // namespace nc

#endif  // NETCONF_DM_UTIL_POISON_H_
