#include "bench/hold_probe.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "bench/clock.h"
#include "netconf_dm_agent.h"

namespace bench {
namespace {

constexpr std::chrono::microseconds kBetweenCalls{300};

// Time in which a thread waited for a core, in nanoseconds.
class RunDelay {
 public:
  explicit RunDelay(pid_t thread)
      : fd_(open(("/proc/self/task/" + std::to_string(thread) + "/schedstat").c_str(),
                 O_RDONLY | O_CLOEXEC)) {}
  ~RunDelay() {
    if (fd_ >= 0) close(fd_);
  }
  RunDelay(const RunDelay&) = delete;
  RunDelay& operator=(const RunDelay&) = delete;

  // 0 where the kernel keeps no such account.
  std::int64_t Get() const {
    char text[96] = {};
    if (fd_ < 0 || pread(fd_, text, sizeof(text) - 1, 0) <= 0) return 0;
    const char* second = std::strchr(text, ' ');
    return second == nullptr ? 0 : std::strtoll(second, nullptr, 10);
  }

 private:
  int fd_;
};

}  // namespace

HoldProbe::HoldProbe(std::string path) : path_(std::move(path)), thread_([this] { Run(); }) {}

HoldProbe::~HoldProbe() {
  stop_ = true;
  thread_.join();
}

void HoldProbe::Run() {
  // The one that may hold the lock, and this one, which may be awake and not let.
  const RunDelay loop(getpid());
  const RunDelay own(gettid());
  while (!stop_) {
    const std::int64_t delay_before = loop.Get() + own.Get();
    const std::int64_t start = NowNs();
    nc_dm_agent_reg(path_.data());
    const std::int64_t wall = NowNs() - start;
    const std::int64_t held = wall - (loop.Get() + own.Get() - delay_before);
    longest_wall_ns_ = std::max(longest_wall_ns_.load(), wall);
    longest_ns_ = std::max(longest_ns_.load(), held);
    ++calls_;
    std::this_thread::sleep_for(kBetweenCalls);
  }
}

}  // namespace bench
