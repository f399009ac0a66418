// Memory from malloc, owned by scope. The records cross a C border, where their owner calls free(),
// and an allocation may fail, so nothing here throws.
#ifndef NETCONF_DM_UTIL_MALLOC_PTR_H_
#define NETCONF_DM_UTIL_MALLOC_PTR_H_

#include <cstdlib>
#include <memory>
#include <type_traits>

namespace nc {

struct Free {
  void operator()(void* memory) const { free(memory); }
};

template <typename T>
using MallocPtr = std::unique_ptr<T, Free>;

// A zeroed record, or null.
template <typename T>
MallocPtr<T> NewRecord() {
  static_assert(std::is_trivially_destructible_v<T>);
  return MallocPtr<T>(static_cast<T*>(calloc(1, sizeof(T))));
}

// A zeroed buffer of `size` characters, or null.
inline MallocPtr<char> NewText(size_t size) {
  return MallocPtr<char>(static_cast<char*>(calloc(size, 1)));
}

}  // namespace nc

#endif  // NETCONF_DM_UTIL_MALLOC_PTR_H_
