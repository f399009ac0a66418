#include "sched_times.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace ncdm_test {

SchedTimes::SchedTimes() : fd_(open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC)) {}

SchedTimes::~SchedTimes() {
  if (fd_ >= 0) close(fd_);
}

SchedTimes::Times SchedTimes::Get() const {
  char text[96] = {};
  if (fd_ < 0 || pread(fd_, text, sizeof(text) - 1, 0) <= 0) return {};
  char* rest = nullptr;
  Times times;
  times.running = std::strtoll(text, &rest, 10);
  times.waiting = std::strtoll(rest, nullptr, 10);
  return times;
}

}  // namespace ncdm_test
