#include "task_times.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include "netconf_dm_kernel.h"

namespace ncdm_test {
namespace {

constexpr std::array<zu_thread * nc_dm_thread_manage_t::*, 6> kHandles = {
    &nc_dm_thread_manage_t::tt_reconnect, &nc_dm_thread_manage_t::tt_read,
    &nc_dm_thread_manage_t::tt_fltrsp,    &nc_dm_thread_manage_t::tt_idrsp,
    &nc_dm_thread_manage_t::tt_reg,       &nc_dm_thread_manage_t::tt_unreg_client};
constexpr std::array<const char*, 6> kNames = {"reconnect", "read",     "filter answer",
                                               "id answer", "register", "unregister client"};

std::int64_t Now(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// What this thread has waited for a core so far, in nanoseconds; 0 where the kernel does not say.
class RunDelay {
 public:
  RunDelay() : fd_(open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC)) {}
  ~RunDelay() {
    if (fd_ >= 0) close(fd_);
  }
  RunDelay(const RunDelay&) = delete;
  RunDelay& operator=(const RunDelay&) = delete;

  std::int64_t Get() const {
    char text[96] = {};
    if (fd_ < 0 || pread(fd_, text, sizeof(text) - 1, 0) <= 0) return 0;
    const char* second = std::strchr(text, ' ');
    return second == nullptr ? 0 : std::strtoll(second, nullptr, 10);
  }

 private:
  int fd_;
};

// C functions carry no context.
struct Measuring {
  std::array<TaskTime, kHandles.size()>* times;
  std::array<zu_thread_func, kHandles.size()> functions{};
  RunDelay delay;
};
Measuring* g_measuring = nullptr;

template <std::size_t kKind>
int Measured(zu_thread* task) {
  const std::int64_t delay = g_measuring->delay.Get();
  const std::int64_t cpu = Now(CLOCK_THREAD_CPUTIME_ID);
  const std::int64_t start = Now(CLOCK_MONOTONIC);
  const int result = g_measuring->functions[kKind](task);
  const std::int64_t wall = Now(CLOCK_MONOTONIC) - start;
  TaskTime& time = (*g_measuring->times)[kKind];
  ++time.count;
  time.cpu = std::max(time.cpu, Now(CLOCK_THREAD_CPUTIME_ID) - cpu);
  time.wall = std::max(time.wall, wall);
  time.held = std::max(time.held, wall - (g_measuring->delay.Get() - delay));
  return result;
}

template <std::size_t... kKind>
constexpr std::array<zu_thread_func, sizeof...(kKind)> AllMeasured(
    std::index_sequence<kKind...> /*kinds*/) {
  return {Measured<kKind>...};
}
constexpr auto kMeasured = AllMeasured(std::make_index_sequence<kHandles.size()>());

double Microseconds(std::int64_t ns) { return static_cast<double>(ns) / 1000; }

}  // namespace

TaskTimes::TaskTimes() {
  static_assert(kKinds == kHandles.size());
  g_measuring = new Measuring{&times_, {}, {}};
}

TaskTimes::~TaskTimes() { delete std::exchange(g_measuring, nullptr); }

void TaskTimes::Attach() {
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    zu_thread* const task = g_nc_dm_agent_manage.*kHandles[kind];
    if (task == nullptr || task->func == kMeasured[kind]) continue;
    g_measuring->functions[kind] = std::exchange(task->func, kMeasured[kind]);
  }
}

TaskTime TaskTimes::Longest() const {
  TaskTime longest;
  for (const TaskTime& time : times_) {
    longest.count += time.count;
    longest.wall = std::max(longest.wall, time.wall);
    longest.held = std::max(longest.held, time.held);
    longest.cpu = std::max(longest.cpu, time.cpu);
  }
  return longest;
}

std::string TaskTimes::Text() const {
  std::string text;
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    const TaskTime& time = times_[kind];
    if (time.count == 0) continue;
    char line[128];
    snprintf(line, sizeof(line), "%s%s %lld: held %.0f cpu %.0f wall %.0f us",
             text.empty() ? "" : "; ", kNames[kind], static_cast<long long>(time.count),
             Microseconds(time.held), Microseconds(time.cpu), Microseconds(time.wall));
    text += line;
  }
  return text;
}

}  // namespace ncdm_test
