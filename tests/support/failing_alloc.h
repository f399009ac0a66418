// Short memory: makes one allocation of this thread fail, and counts what is not given back.
// Include it in one file of a program, whose malloc, calloc, realloc and free these become, also
// for strdup and the rest of the C library. What C++ allocates (the tests, the doubles of the
// platform) neither fails nor counts: the library under test allocates in C's way alone.
//
// A sanitizer brings an allocator of its own, so there the tests that need this are skipped: see
// NCDM_SKIP_WITHOUT_FAILING_ALLOC.
#ifndef TESTS_SUPPORT_FAILING_ALLOC_H_
#define TESTS_SUPPORT_FAILING_ALLOC_H_

#include <gtest/gtest.h>
#include <stddef.h>
#include <stdlib.h>

#include <new>

#include "netconf_dm_util/sanitizers.h"

#define NCDM_TEST_FAILING_ALLOC (!NCDM_ADDRESS_SANITIZER && !NCDM_THREAD_SANITIZER)

#define NCDM_SKIP_WITHOUT_FAILING_ALLOC() \
  if (!NCDM_TEST_FAILING_ALLOC) GTEST_SKIP() << "the sanitizer has its own allocator"

namespace ncdm_test {

// Fails the allocation behind the next `successes` of this thread, once, while it lives.
class FailingAlloc {
 public:
  explicit FailingAlloc(int successes) {
    left_ = successes;
    live_before_ = live_;
  }
  FailingAlloc(const FailingAlloc&) = delete;
  FailingAlloc& operator=(const FailingAlloc&) = delete;
  ~FailingAlloc() { left_ = -1; }

  // Did the allocation come that had to fail. Only while the object lives.
  static bool HasFailed() { return left_ < 0; }
  // Allocations less releases since it was made.
  static int Outstanding() { return live_ - live_before_; }
  // What this thread has allocated and not freed, ever. Only differences tell something.
  static int Live() { return live_; }

  // For the functions below.
  static bool ShallFail() { return left_ >= 0 && left_-- == 0; }
  static void* Count(void* memory) {
    live_ += memory != nullptr;
    return memory;
  }
  static void Uncount(const void* memory) { live_ -= memory != nullptr; }

 private:
  static inline thread_local int left_ = -1;
  static inline thread_local int live_ = 0;
  static inline thread_local int live_before_ = 0;
};

// Runs `action` with its first allocation failing, then with its second, until it ends without a
// failure. `action` frees what it was given, and is told whether memory was short only by the calls
// that it makes. Returns how many allocations could fail.
template <typename Action>
int WithEachAllocationFailing(Action action) {
  for (int successes = 0;; ++successes) {
    bool failed;
    int outstanding;
    {
      const FailingAlloc failing(successes);
      action();
      failed = FailingAlloc::HasFailed();
      outstanding = FailingAlloc::Outstanding();
    }
    EXPECT_EQ(outstanding, 0) << "leak when allocation " << successes << " fails";
    if (!failed || outstanding != 0) return successes;
  }
}

}  // namespace ncdm_test

#if NCDM_TEST_FAILING_ALLOC

extern "C" {

// The allocator below the names that programs may take over.
void* __libc_malloc(size_t size);                 // NOLINT
void* __libc_calloc(size_t count, size_t size);   // NOLINT
void* __libc_realloc(void* memory, size_t size);  // NOLINT
void __libc_free(void* memory);                   // NOLINT

#define NCDM_TEST_EXPORT __attribute__((visibility("default")))

NCDM_TEST_EXPORT void* malloc(size_t size) noexcept {
  using ncdm_test::FailingAlloc;
  return FailingAlloc::ShallFail() ? nullptr : FailingAlloc::Count(__libc_malloc(size));
}

NCDM_TEST_EXPORT void* calloc(size_t count, size_t size) noexcept {
  using ncdm_test::FailingAlloc;
  return FailingAlloc::ShallFail() ? nullptr : FailingAlloc::Count(__libc_calloc(count, size));
}

NCDM_TEST_EXPORT void* realloc(void* memory, size_t size) noexcept {
  using ncdm_test::FailingAlloc;
  if (FailingAlloc::ShallFail()) return nullptr;
  void* larger = __libc_realloc(memory, size);
  return memory == nullptr ? FailingAlloc::Count(larger) : larger;
}

NCDM_TEST_EXPORT void free(void* memory) noexcept {
  ncdm_test::FailingAlloc::Uncount(memory);
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

#endif  // TESTS_SUPPORT_FAILING_ALLOC_H_
