// The allocator of a program whose tests make allocations fail.

#include "support/failing_alloc.h"

#include <stddef.h>
#include <stdlib.h>

#include <new>

namespace {

// They are read and written by functions that no other file can see into: a compiler takes it that
// malloc and free leave other variables alone.
constinit thread_local int g_left = -1;
constinit thread_local int g_live = 0;
constinit thread_local int g_live_before = 0;

}  // namespace

namespace ncdm_test {

FailingAlloc::FailingAlloc(int successes) {
  g_left = successes;
  g_live_before = g_live;
}

FailingAlloc::~FailingAlloc() { g_left = -1; }

bool FailingAlloc::HasFailed() { return g_left < 0; }

int FailingAlloc::Outstanding() { return g_live - g_live_before; }

int FailingAlloc::Live() { return g_live; }

}  // namespace ncdm_test

#if NCDM_TEST_FAILING_ALLOC

namespace {

bool ShallFail() { return g_left >= 0 && g_left-- == 0; }

void* Count(void* memory) {
  g_live += memory != nullptr;
  return memory;
}

void Uncount(const void* memory) { g_live -= memory != nullptr; }

}  // namespace

extern "C" {

// The allocator below the names that programs may take over.
void* __libc_malloc(size_t size);                 // NOLINT
void* __libc_calloc(size_t count, size_t size);   // NOLINT
void* __libc_realloc(void* memory, size_t size);  // NOLINT
void __libc_free(void* memory);                   // NOLINT

#define NCDM_TEST_EXPORT __attribute__((visibility("default")))

NCDM_TEST_EXPORT void* malloc(size_t size) noexcept {
  return ShallFail() ? nullptr : Count(__libc_malloc(size));
}

NCDM_TEST_EXPORT void* calloc(size_t count, size_t size) noexcept {
  return ShallFail() ? nullptr : Count(__libc_calloc(count, size));
}

NCDM_TEST_EXPORT void* realloc(void* memory, size_t size) noexcept {
  if (ShallFail()) return nullptr;
  void* larger = __libc_realloc(memory, size);
  return memory == nullptr ? Count(larger) : larger;
}

NCDM_TEST_EXPORT void free(void* memory) noexcept {
  Uncount(memory);
  __libc_free(memory);
}

}  // extern "C"

void* operator new(size_t size) {
  void* memory = __libc_malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new[](size_t size) { return operator new(size); }
void operator delete(void* memory) noexcept { __libc_free(memory); }
void operator delete[](void* memory) noexcept { __libc_free(memory); }
void operator delete(void* memory, size_t) noexcept { __libc_free(memory); }
void operator delete[](void* memory, size_t) noexcept { __libc_free(memory); }

#endif
