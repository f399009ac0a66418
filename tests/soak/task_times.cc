#include "task_times.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <utility>

#include "netconf_dm_kernel.h"
#include "sched_times.h"

namespace ncdm_test {
namespace {

// In the order of LoopTask.
constexpr std::array<zu_thread * nc_dm_thread_manage_t::*, kLoopTasks> kHandles = {
    &nc_dm_thread_manage_t::tt_connect,      &nc_dm_thread_manage_t::tt_reconnect,
    &nc_dm_thread_manage_t::tt_read,         &nc_dm_thread_manage_t::tt_fltrsp,
    &nc_dm_thread_manage_t::tt_idrsp,        &nc_dm_thread_manage_t::tt_reg,
    &nc_dm_thread_manage_t::tt_unreg_client, &nc_dm_thread_manage_t::tt_watch};
constexpr std::array<const char*, kLoopTasks> kNames = {
    "connect",  "reconnect",         "read", "filter answer", "id answer",
    "register", "unregister client", "watch"};

std::int64_t Now(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// C functions carry no context.
struct Measuring {
  std::array<TaskTime, kLoopTasks>* times;
  TaskObserver* observer;
  std::array<zu_thread_func, kLoopTasks> functions{};
  SchedTimes thread{};
};
Measuring* g_measuring = nullptr;

template <std::size_t kKind>
int Measured(zu_thread* task) {
  constexpr auto kTask = static_cast<LoopTask>(kKind);
  TaskObserver* const observer = g_measuring->observer;
  if (observer != nullptr) observer->Before(kTask);
  const std::int64_t delay = g_measuring->thread.Waiting();
  const std::int64_t cpu = Now(CLOCK_THREAD_CPUTIME_ID);
  const std::int64_t start = Now(CLOCK_MONOTONIC);
  const int result = g_measuring->functions[kKind](task);
  TaskTime one;
  one.count = 1;
  one.wall = Now(CLOCK_MONOTONIC) - start;
  one.cpu = Now(CLOCK_THREAD_CPUTIME_ID) - cpu;
  one.held = one.wall - (g_measuring->thread.Waiting() - delay);
  (*g_measuring->times)[kKind].Merge(one);
  if (observer != nullptr) observer->After(kTask, one);
  return result;
}

template <std::size_t... kKind>
constexpr std::array<zu_thread_func, sizeof...(kKind)> AllMeasured(
    std::index_sequence<kKind...> /*kinds*/) {
  return {Measured<kKind>...};
}
constexpr auto kMeasured = AllMeasured(std::make_index_sequence<kLoopTasks>());

double Microseconds(std::int64_t ns) { return static_cast<double>(ns) / 1000; }

}  // namespace

const char* LoopTaskName(LoopTask kind) { return kNames.at(static_cast<std::size_t>(kind)); }

void TaskTime::Merge(const TaskTime& other) {
  count += other.count;
  wall = std::max(wall, other.wall);
  held = std::max(held, other.held);
  cpu = std::max(cpu, other.cpu);
}

TaskTimes::TaskTimes(TaskObserver* observer) { g_measuring = new Measuring{&times_, observer}; }

TaskTimes::~TaskTimes() { delete std::exchange(g_measuring, nullptr); }

void TaskTimes::Attach() {
  for (std::size_t kind = 0; kind < kLoopTasks; ++kind) {
    zu_thread* const task = g_nc_dm_agent_manage.*kHandles[kind];
    if (task == nullptr || task->func == kMeasured[kind]) continue;
    g_measuring->functions[kind] = std::exchange(task->func, kMeasured[kind]);
  }
}

TaskTime TaskTimes::Longest() const {
  TaskTime longest;
  for (const TaskTime& time : times_) longest.Merge(time);
  return longest;
}

std::string TaskTimes::Text() const {
  std::string text;
  for (std::size_t kind = 0; kind < kLoopTasks; ++kind) {
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
