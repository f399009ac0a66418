#include "fuzz/platform.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "printk_syslog.h"

namespace ncdm_fuzz {
namespace {

using Tasks = std::vector<std::unique_ptr<zu_thread>>;

Tasks& Scheduled() {
  static Tasks tasks;
  return tasks;
}

zu_thread* Schedule(zu_thread_master* master, zu_thread_func func, void* arg, int value,
                    const char* name) {
  NCDM_FUZZ_CHECK(master == Master());
  NCDM_FUZZ_CHECK(func != nullptr);
  Scheduled().push_back(std::make_unique<zu_thread>(zu_thread{master, func, arg, value, name}));
  return Scheduled().back().get();
}

std::unique_ptr<zu_thread> Take(Tasks::iterator at) {
  std::unique_ptr<zu_thread> task = std::move(*at);
  Scheduled().erase(at);
  return task;
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
      std::ranges::find_if(tasks, [func](const auto& task) { return task->func == func; });
  if (at == tasks.end()) return false;
  const std::unique_ptr<zu_thread> task = Take(at);
  task->func(task.get());
  return true;
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
  return ncdm_fuzz::Schedule(master, func, arg, fd, name);
}

zu_thread* zu_thread_add_write(zu_thread_master* master, zu_thread_func func, void* arg, int fd) {
  return ncdm_fuzz::Schedule(master, func, arg, fd, nullptr);
}

// A handle that is not valid is a finding.
void zu_thread_cancel(zu_thread* thread) {
  if (thread == nullptr) return;
  auto& tasks = ncdm_fuzz::Scheduled();
  const auto at =
      std::ranges::find_if(tasks, [thread](const auto& task) { return task.get() == thread; });
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
