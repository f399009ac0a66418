#include "watchdog.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace ncdm_test {
namespace {

// On a machine that is busy with other things, too.
constexpr std::chrono::seconds kPatience{60};

}  // namespace

Watchdog::Watchdog(std::vector<Watched> watched)
    : watched_(std::move(watched)), thread_([this] { Run(); }) {}

Watchdog::~Watchdog() {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
  thread_.join();
}

void Watchdog::Run() {
  std::vector<std::int64_t> before(watched_.size(), -1);
  std::unique_lock lock(mutex_);
  while (!stop_) {
    for (std::size_t i = 0; i < watched_.size(); ++i) {
      const std::int64_t now = watched_[i].progress();
      if (now == before[i]) {
        fprintf(stderr, "watchdog: %s stands still at %lld\n", watched_[i].name.c_str(),
                static_cast<long long>(now));
        abort();
      }
      before[i] = now;
    }
    wake_.wait_for(lock, kPatience, [this] { return stop_; });
  }
}

}  // namespace ncdm_test
