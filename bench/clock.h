#ifndef BENCH_CLOCK_H_
#define BENCH_CLOCK_H_

#include <sys/types.h>

#include <cstdint>
#include <ctime>

namespace bench {

inline std::int64_t NanosecondsOf(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

inline std::int64_t NowNs() { return NanosecondsOf(CLOCK_MONOTONIC); }

// Processor time that another process has used.
inline std::int64_t CpuNsOf(pid_t process) {
  clockid_t clock = 0;
  return clock_getcpuclockid(process, &clock) == 0 ? NanosecondsOf(clock) : 0;
}

}  // namespace bench

#endif  // BENCH_CLOCK_H_
