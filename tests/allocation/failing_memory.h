// Memory that runs short once, at a chosen allocation, and a count of what is allocated. Include it
// in one file of a program: malloc, calloc, realloc and free become these for all of it, and so
// does what strdup and the rest of the C library call. What C++ allocates (the tests, the doubles
// of the platform) neither fails nor counts: the library under test allocates in C's way alone.
//
// The sanitizers bring allocators of their own, so that with them tests have to do without:
// NCDM_SKIP_WITHOUT_FAILING_MEMORY().
#ifndef TESTS_ALLOCATION_FAILING_MEMORY_H_
#define TESTS_ALLOCATION_FAILING_MEMORY_H_

#include <stddef.h>

#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NCDM_TEST_FAILING_MEMORY 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define NCDM_TEST_FAILING_MEMORY 0
#endif
#endif
#ifndef NCDM_TEST_FAILING_MEMORY
#define NCDM_TEST_FAILING_MEMORY 1
#endif

#define NCDM_SKIP_WITHOUT_FAILING_MEMORY() \
  if (NCDM_TEST_FAILING_MEMORY == 0) GTEST_SKIP() << "the sanitizer has its own allocator"

namespace ncdm_test {

class FailingMemory {
 public:
  // The allocation behind the next `successes` fails, once.
  explicit FailingMemory(int successes) { left_ = successes; }
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;
  ~FailingMemory() { left_ = -1; }

  // Did it come to the failure.
  static bool Failed() { return left_ < 0; }

  // Allocations of this thread that nobody has freed. Only differences tell something.
  static long Live() { return live_; }

  // For the functions below.
  static bool ShallFail() { return left_ >= 0 && left_-- == 0; }
  static void* Count(void* memory) {
    live_ += memory != nullptr;
    return memory;
  }
  static void Uncount(const void* memory) { live_ -= memory != nullptr; }

 private:
  static inline thread_local int left_ = -1;
  static inline thread_local long live_ = 0;
};

}  // namespace ncdm_test

#if NCDM_TEST_FAILING_MEMORY

extern "C" {

// The allocator below the names that programs may take over.
void* __libc_malloc(size_t size);                 // NOLINT
void* __libc_calloc(size_t count, size_t size);   // NOLINT
void* __libc_realloc(void* memory, size_t size);  // NOLINT
void __libc_free(void* memory);                   // NOLINT

#define NCDM_TEST_EXPORT __attribute__((visibility("default")))

NCDM_TEST_EXPORT void* malloc(size_t size) noexcept {
  using ncdm_test::FailingMemory;
  return FailingMemory::ShallFail() ? nullptr : FailingMemory::Count(__libc_malloc(size));
}

NCDM_TEST_EXPORT void* calloc(size_t count, size_t size) noexcept {
  using ncdm_test::FailingMemory;
  return FailingMemory::ShallFail() ? nullptr : FailingMemory::Count(__libc_calloc(count, size));
}

NCDM_TEST_EXPORT void* realloc(void* memory, size_t size) noexcept {
  using ncdm_test::FailingMemory;
  if (FailingMemory::ShallFail()) return nullptr;
  void* larger = __libc_realloc(memory, size);
  return memory == nullptr ? FailingMemory::Count(larger) : larger;
}

NCDM_TEST_EXPORT void free(void* memory) noexcept {
  ncdm_test::FailingMemory::Uncount(memory);
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

#endif  // TESTS_ALLOCATION_FAILING_MEMORY_H_
