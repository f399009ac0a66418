// How long a thread ran so far, and how long it was ready and waited for a processor. The kernel
// counts both.
#ifndef TESTS_SOAK_SCHED_TIMES_H_
#define TESTS_SOAK_SCHED_TIMES_H_

#include <cstdint>

namespace ncdm_test {

class SchedTimes {
 public:
  // Of the calling thread, whoever asks later.
  SchedTimes();
  ~SchedTimes();
  SchedTimes(const SchedTimes&) = delete;
  SchedTimes& operator=(const SchedTimes&) = delete;

  // In nanoseconds; 0 where the kernel does not say, and of a thread that has ended.
  std::int64_t Running() const { return Get().running; }
  std::int64_t Waiting() const { return Get().waiting; }

 private:
  struct Times {
    std::int64_t running = 0;
    std::int64_t waiting = 0;
  };
  Times Get() const;

  int fd_;
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_SCHED_TIMES_H_
