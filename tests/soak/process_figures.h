// What this process holds.
#ifndef TESTS_SOAK_PROCESS_FIGURES_H_
#define TESTS_SOAK_PROCESS_FIGURES_H_

#include <cstdint>

namespace ncdm_test {

struct ProcessFigures {
  std::int64_t resident_bytes = 0;
  std::int64_t heap_bytes = 0;  // in use
  std::int64_t descriptors = 0;
};

ProcessFigures ReadProcessFigures();

}  // namespace ncdm_test

#endif  // TESTS_SOAK_PROCESS_FIGURES_H_
