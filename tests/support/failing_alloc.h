// Short memory: makes one allocation of the process fail, and counts what is not given back.
// Include it in one file of a program, whose malloc, calloc, realloc and free these become.
//
// A sanitizer brings an allocator of its own, so there the tests that need this are skipped: see
// NCDM_SKIP_WITHOUT_FAILING_ALLOC.
#ifndef TESTS_SUPPORT_FAILING_ALLOC_H_
#define TESTS_SUPPORT_FAILING_ALLOC_H_

#include <gtest/gtest.h>
#include <stddef.h>

#include "netconf_dm_agent.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NCDM_SKIP_WITHOUT_FAILING_ALLOC() GTEST_SKIP() << "the sanitizer allocates"
#else
#define NCDM_SKIP_WITHOUT_FAILING_ALLOC() static_cast<void>(0)
#endif

namespace ncdm_test {

// Fails the allocation behind the next `successes` of this thread, while it lives.
class FailingAlloc {
 public:
  explicit FailingAlloc(int successes) {
    left_ = successes;
    outstanding_ = 0;
    armed_ = true;
  }
  FailingAlloc(const FailingAlloc&) = delete;
  FailingAlloc& operator=(const FailingAlloc&) = delete;
  ~FailingAlloc() { armed_ = false; }

  // Did the allocation come that had to fail.
  static bool HasFailed() { return left_ < 0; }
  // Allocations less releases since it was made.
  static int Outstanding() { return outstanding_; }

  static bool ShallFail() { return armed_ && left_ >= 0 && left_-- == 0; }
  static void Count(int change) {
    if (armed_) outstanding_ += change;
  }

 private:
  static inline thread_local bool armed_ = false;
  static inline thread_local int left_ = 0;
  static inline thread_local int outstanding_ = 0;
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
      FailingAlloc failing(successes);
      action();
      failed = FailingAlloc::HasFailed();
      outstanding = FailingAlloc::Outstanding();
    }
    EXPECT_EQ(outstanding, 0) << "leak when allocation " << successes << " fails";
    if (!failed || outstanding != 0) return successes;
  }
}

}  // namespace ncdm_test

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

extern "C" {

// The allocator below the names that programs may take over.
void* __libc_malloc(size_t size);                 // NOLINT
void* __libc_calloc(size_t count, size_t size);   // NOLINT
void* __libc_realloc(void* memory, size_t size);  // NOLINT
void __libc_free(void* memory);                   // NOLINT

NC_DM_API void* malloc(size_t size) noexcept {
  if (ncdm_test::FailingAlloc::ShallFail()) return nullptr;
  ncdm_test::FailingAlloc::Count(1);
  return __libc_malloc(size);
}

NC_DM_API void* calloc(size_t count, size_t size) noexcept {
  if (ncdm_test::FailingAlloc::ShallFail()) return nullptr;
  ncdm_test::FailingAlloc::Count(1);
  return __libc_calloc(count, size);
}

NC_DM_API void* realloc(void* memory, size_t size) noexcept {
  if (ncdm_test::FailingAlloc::ShallFail()) return nullptr;
  if (memory == nullptr) ncdm_test::FailingAlloc::Count(1);
  return __libc_realloc(memory, size);
}

NC_DM_API void free(void* memory) noexcept {
  if (memory != nullptr) ncdm_test::FailingAlloc::Count(-1);
  __libc_free(memory);
}

}  // extern "C"

#endif

#endif  // TESTS_SUPPORT_FAILING_ALLOC_H_
