// How long the tests go on that draw what they do at random.
//
// NCDM_RANDOM_SHARE=4, in the environment, takes a fourth of it: the build with sanitizers whose
// whole length runs in the released one (tests/CMakeLists.txt). Otherwise they run in full.
#ifndef TESTS_SUPPORT_REPEATS_H_
#define TESTS_SUPPORT_REPEATS_H_

#include <algorithm>
#include <cstdlib>

namespace ncdm_test {

// Of so many repetitions as many as are asked for, and at least one.
inline int Repeats(int whole) {
  const char* text = std::getenv("NCDM_RANDOM_SHARE");
  const int share = text == nullptr ? 1 : std::max(std::atoi(text), 1);
  return std::max(whole / share, 1);
}

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_REPEATS_H_
