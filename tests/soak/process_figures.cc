#include "process_figures.h"

#include <malloc.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>

#include "integration/harness.h"
#include "run_options.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// Of the sanitizers' runtime. Not every compiler brings its header.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(void);
#endif

namespace ncdm_test {
namespace {

std::int64_t ResidentBytes() {
  std::int64_t total_pages = 0;
  std::int64_t resident_pages = 0;
  std::ifstream("/proc/self/statm") >> total_pages >> resident_pages;
  return resident_pages * sysconf(_SC_PAGESIZE);
}

std::int64_t HeapBytes() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return static_cast<std::int64_t>(__sanitizer_get_current_allocated_bytes());
#else
  const auto info = mallinfo2();
  return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
#endif
}

}  // namespace

ProcessFigures ReadProcessFigures() {
  return {ResidentBytes(), HeapBytes(), static_cast<std::int64_t>(OpenDescriptors())};
}

}  // namespace ncdm_test
