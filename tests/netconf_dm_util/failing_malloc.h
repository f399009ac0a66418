// Allocations that fail on request, and a count of those that nobody has freed yet. Include it in
// one file of a program: it defines malloc, calloc and free for all of it. The sanitizers bring
// their own, so that with them a test has to do without: SKIP_WITHOUT_FAILING_MALLOC().
#ifndef TESTS_NETCONF_DM_UTIL_FAILING_MALLOC_H_
#define TESTS_NETCONF_DM_UTIL_FAILING_MALLOC_H_

#include <stddef.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NCDM_TEST_FAILING_MALLOC 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define NCDM_TEST_FAILING_MALLOC 0
#endif
#endif
#ifndef NCDM_TEST_FAILING_MALLOC
#define NCDM_TEST_FAILING_MALLOC 1
#endif

#define SKIP_WITHOUT_FAILING_MALLOC() \
  if (NCDM_TEST_FAILING_MALLOC == 0) GTEST_SKIP() << "the sanitizer has its own malloc"

namespace ncdm_test {

// Allocations of this thread that still succeed before one fails; negative: all do.
inline thread_local int g_allocations_before_failure = -1;
// What this thread has allocated and not freed. Only differences tell something.
inline thread_local int g_live_allocations = 0;

// Makes the allocation behind the next `successes` ones fail, once.
class FailingMalloc {
 public:
  explicit FailingMalloc(int successes) { g_allocations_before_failure = successes; }
  FailingMalloc(const FailingMalloc&) = delete;
  FailingMalloc& operator=(const FailingMalloc&) = delete;
  ~FailingMalloc() { g_allocations_before_failure = -1; }

  // Did it come to the failure.
  static bool Failed() { return g_allocations_before_failure < 0; }

  static bool ShallFail() {
    return g_allocations_before_failure >= 0 && g_allocations_before_failure-- == 0;
  }
  static void* Count(void* memory) {
    if (memory != nullptr) ++g_live_allocations;
    return memory;
  }
};

}  // namespace ncdm_test

#if NCDM_TEST_FAILING_MALLOC
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void __libc_free(void* memory);

__attribute__((visibility("default"))) void* malloc(size_t size) {
  using ncdm_test::FailingMalloc;
  return FailingMalloc::ShallFail() ? nullptr : FailingMalloc::Count(__libc_malloc(size));
}
__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) {
  using ncdm_test::FailingMalloc;
  return FailingMalloc::ShallFail() ? nullptr : FailingMalloc::Count(__libc_calloc(count, size));
}
__attribute__((visibility("default"))) void free(void* memory) {
  if (memory != nullptr) --ncdm_test::g_live_allocations;
  __libc_free(memory);
}
}
#endif

#endif  // TESTS_NETCONF_DM_UTIL_FAILING_MALLOC_H_
