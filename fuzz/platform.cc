#include "fuzz/platform.h"

#include <poll.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "printk_syslog.h"

namespace ncdm_fuzz {
namespace {

// A task, and what it waits for: POLLIN or POLLOUT of its descriptor, or 0.
struct Task {
  zu_thread record;
  short events;
};
using Tasks = std::vector<std::unique_ptr<Task>>;

Tasks& Scheduled() {
  static Tasks tasks;
  return tasks;
}

size_t g_fail_every = 0;
size_t g_until_failure = 0;

bool ShallFail() {
  if (g_fail_every == 0 || g_until_failure-- > 0) return false;
  g_until_failure = g_fail_every - 1;
  return true;
}

zu_thread* Schedule(zu_thread_master* master, zu_thread_func func, void* arg, int value,
                    const char* name, short events = 0) {
  NCDM_FUZZ_CHECK(master == Master());
  NCDM_FUZZ_CHECK(func != nullptr);
  if (ShallFail()) return nullptr;
  Scheduled().push_back(
      std::make_unique<Task>(Task{zu_thread{master, func, arg, value, name}, events}));
  return &Scheduled().back()->record;
}

bool IsReady(const Task& task) {
  if (task.events == 0) return true;
  pollfd ready = {task.record.value, task.events, 0};
  return task.record.value >= 0 && poll(&ready, 1, 0) == 1;
}

std::unique_ptr<Task> Take(Tasks::iterator at) {
  std::unique_ptr<Task> task = std::move(*at);
  Scheduled().erase(at);
  return task;
}

void Run(Tasks::iterator at) {
  const std::unique_ptr<Task> task = Take(at);
  task->record.func(&task->record);
}

}  // namespace

void Fail(const char* file, int line, const char* what) {
  fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, what);
  abort();
}

zu_thread_master* Master() {
  static char master;
  return reinterpret_cast<zu_thread_master*>(&master);
}

bool RunTask(zu_thread_func func) {
  Tasks& tasks = Scheduled();
  const auto at =
      std::ranges::find_if(tasks, [func](const auto& task) { return task->record.func == func; });
  if (at == tasks.end()) return false;
  Run(at);
  return true;
}

bool RunReadyTask(size_t choice) {
  Tasks& tasks = Scheduled();
  for (size_t i = 0; i < tasks.size(); ++i) {
    const auto at = tasks.begin() + static_cast<ptrdiff_t>((choice + i) % tasks.size());
    if (!IsReady(**at)) continue;
    Run(at);
    return true;
  }
  return false;
}

size_t ScheduledTasks() { return Scheduled().size(); }

void FailEvery(size_t n, size_t first) {
  g_fail_every = n;
  g_until_failure = first;
}

bool ShallLog() {
  static const bool shall_log = getenv("NC_DM_LOG") != nullptr;
  return shall_log;
}

}  // namespace ncdm_fuzz

zu_thread* zu_thread_add_event_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                        int value, const char* name) {
  return ncdm_fuzz::Schedule(master, func, arg, value, name);
}

zu_thread* zu_thread_add_timer(zu_thread_master* master, zu_thread_func func, void* arg,
                               long /*seconds*/) {
  return ncdm_fuzz::Schedule(master, func, arg, 0, nullptr);
}

zu_thread* zu_thread_add_timer_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                        long /*seconds*/, const char* name) {
  return ncdm_fuzz::Schedule(master, func, arg, 0, name);
}

zu_thread* zu_thread_add_timer_timeval(zu_thread_master* master, zu_thread_func func, void* arg,
                                       const struct timeval* /*delay*/) {
  return ncdm_fuzz::Schedule(master, func, arg, 0, nullptr);
}

zu_thread* zu_thread_add_read_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                       int fd, const char* name) {
  return ncdm_fuzz::Schedule(master, func, arg, fd, name, POLLIN);
}

zu_thread* zu_thread_add_write(zu_thread_master* master, zu_thread_func func, void* arg, int fd) {
  return ncdm_fuzz::Schedule(master, func, arg, fd, nullptr, POLLOUT);
}

// A handle that is not valid is a finding.
void zu_thread_cancel(zu_thread* thread) {
  if (thread == nullptr) return;
  auto& tasks = ncdm_fuzz::Scheduled();
  const auto at =
      std::ranges::find_if(tasks, [thread](const auto& task) { return &task->record == thread; });
  NCDM_FUZZ_CHECK(at != tasks.end());
  ncdm_fuzz::Take(at);
}

void printk_syslog_ext(int /*level*/, const char* /*module*/, const char* /*kind*/,
                       log_printk_type_e /*type*/, const char* format, ...) {
  char text[2048];
  va_list args;
  va_start(args, format);
  const int length = vsnprintf(text, sizeof(text), format, args);
  va_end(args);
  NCDM_FUZZ_CHECK(length >= 0);
  if (ncdm_fuzz::ShallLog()) fputs(text, stderr);
}
