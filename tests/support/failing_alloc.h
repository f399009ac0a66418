// Short memory: makes one allocation of this thread fail, and counts what is not given back.
// failing_alloc.cc takes the place of a program's malloc, calloc, realloc and free, also for strdup
// and the rest of the C library. What C++ allocates (the tests, the doubles of the platform)
// neither fails nor counts: the library under test allocates in C's way alone.
//
// A sanitizer brings an allocator of its own, so there the tests that need this are skipped: see
// NCDM_SKIP_WITHOUT_FAILING_ALLOC.
#ifndef TESTS_SUPPORT_FAILING_ALLOC_H_
#define TESTS_SUPPORT_FAILING_ALLOC_H_

#include <gtest/gtest.h>

#include "netconf_dm_util/sanitizers.h"

#define NCDM_TEST_FAILING_ALLOC (!NCDM_ADDRESS_SANITIZER && !NCDM_THREAD_SANITIZER)

#define NCDM_SKIP_WITHOUT_FAILING_ALLOC() \
  if (!NCDM_TEST_FAILING_ALLOC) GTEST_SKIP() << "the sanitizer has its own allocator"

namespace ncdm_test {

// Fails the allocation behind the next `successes` of this thread, once, while it lives.
class FailingAlloc {
 public:
  explicit FailingAlloc(int successes);
  FailingAlloc(const FailingAlloc&) = delete;
  FailingAlloc& operator=(const FailingAlloc&) = delete;
  ~FailingAlloc();

  // True if the allocation came that had to fail. Only while the object lives.
  static bool HasFailed();
  // Allocations less releases since it was made.
  static int Outstanding();
  // What this thread has allocated and not freed, ever. Only differences tell something.
  static int Live();
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

#endif  // TESTS_SUPPORT_FAILING_ALLOC_H_
