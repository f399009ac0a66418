// What a run is asked for, in the environment. Without it a run takes some seconds.
//
//   NCDM_SOAK_SECONDS   how long it runs
//   NCDM_SOAK_RESTARTS  how many restarts
//   NCDM_SOAK_ROUNDS    how many rounds, of what the run repeats
//   NCDM_SOAK_SEED      of the random choices
//   NCDM_SOAK_CSV       the file for its samples
#ifndef TESTS_SOAK_RUN_OPTIONS_H_
#define TESTS_SOAK_RUN_OPTIONS_H_

#include <chrono>
#include <string>

namespace ncdm_test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif

using SoakClock = std::chrono::steady_clock;

std::chrono::milliseconds RunTime(std::chrono::milliseconds otherwise);
int Restarts(int otherwise);
int Rounds(int otherwise);
unsigned Seed();
// Empty when no samples are wanted.
std::string SampleFile();

}  // namespace ncdm_test

#endif  // TESTS_SOAK_RUN_OPTIONS_H_
