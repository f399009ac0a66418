#include "fake_platform.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "flash_home.h"
#include "test_main.h"

namespace ncdm_test {
namespace {

std::optional<std::string>& FlashHome() {
  static std::optional<std::string> directory;
  return directory;
}

void ResetDoubles() {
  FakePlatform::Get().Reset();
  LogCapture::Get().Clear();
  SetFlashHome(std::nullopt);
}

const bool g_reset_before_tests = AtTestStart(&ResetDoubles);

std::string Prefixed(std::string_view prefix, std::string_view text) {
  return std::string(prefix) + " " + std::string(text);
}

FakeTask NewTask(TaskKind kind, zu_thread_master* master, zu_thread_func func, void* arg, int value,
                 const char* name, long sec = 0, long usec = 0) {
  FakeTask task;
  static_cast<zu_thread&>(task) = {master, func, arg, value, name};
  task.kind = kind;
  task.sec = sec;
  task.usec = usec;
  return task;
}

}  // namespace

FakePlatform& FakePlatform::Get() {
  static FakePlatform platform;
  return platform;
}

zu_thread_master* FakePlatform::Master() {
  static char master;
  return reinterpret_cast<zu_thread_master*>(&master);
}

std::vector<FakeTask*> FakePlatform::Pending() {
  const std::lock_guard lock(mutex_);
  std::vector<FakeTask*> result;
  for (FakeTask& task : tasks_) result.push_back(&task);
  return result;
}

std::vector<FakeTask*> FakePlatform::Pending(TaskKind kind) {
  std::vector<FakeTask*> result = Pending();
  std::erase_if(result, [kind](const FakeTask* task) { return task->kind != kind; });
  return result;
}

FakeTask* FakePlatform::Find(zu_thread_func func) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(tasks_.begin(), tasks_.end(),
                                  [func](const FakeTask& task) { return task.func == func; });
  return found == tasks_.end() ? nullptr : &*found;
}

FakeTask* FakePlatform::Find(TaskKind kind) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(tasks_.begin(), tasks_.end(),
                                  [kind](const FakeTask& task) { return task.kind == kind; });
  return found == tasks_.end() ? nullptr : &*found;
}

FakePlatform::Tasks::iterator FakePlatform::Locate(const zu_thread* task) {
  return std::find_if(tasks_.begin(), tasks_.end(),
                      [task](const FakeTask& pending) { return &pending == task; });
}

bool FakePlatform::IsPending(const zu_thread* task) {
  const std::lock_guard lock(mutex_);
  return Locate(task) != tasks_.end();
}

int FakePlatform::Run(zu_thread* task) {
  Tasks running;
  {
    const std::lock_guard lock(mutex_);
    const auto found = Locate(task);
    if (found == tasks_.end()) {
      ADD_FAILURE() << "the task to run is not pending";
      return INT_MIN;
    }
    running.splice(running.begin(), tasks_, found);
  }
  return running.front().func(&running.front());
}

int FakePlatform::RunNext(TaskKind kind) { return Run(Find(kind)); }

int FakePlatform::RunNext(zu_thread_func func) { return Run(Find(func)); }

int FakePlatform::scheduled() {
  const std::lock_guard lock(mutex_);
  return scheduled_;
}

int FakePlatform::cancelled() {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(cancelled_.size());
}

int FakePlatform::cancelled(TaskKind kind) {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(std::count(cancelled_.begin(), cancelled_.end(), kind));
}

void FakePlatform::FailNext(int count) {
  const std::lock_guard lock(mutex_);
  failures_ = count;
}

void FakePlatform::FailEvery(int n) {
  const std::lock_guard lock(mutex_);
  fail_every_ = n;
  calls_ = 0;
}

void FakePlatform::Reset() {
  const std::lock_guard lock(mutex_);
  tasks_.clear();
  cancelled_.clear();
  scheduled_ = 0;
  failures_ = 0;
  fail_every_ = 0;
}

zu_thread* FakePlatform::Schedule(const FakeTask& task) {
  const std::lock_guard lock(mutex_);
  if (failures_ > 0) {
    --failures_;
    return nullptr;
  }
  if (fail_every_ > 0 && ++calls_ % fail_every_ == 0) return nullptr;
  EXPECT_NE(task.master, nullptr) << "a task without a master";
  EXPECT_NE(task.func, nullptr) << "a task without a function";
  ++scheduled_;
  return &tasks_.emplace_back(task);
}

void FakePlatform::Cancel(zu_thread* task) {
  const std::lock_guard lock(mutex_);
  const auto found = Locate(task);
  if (found == tasks_.end()) {
    ADD_FAILURE() << "the task to cancel is not pending";
    return;
  }
  cancelled_.push_back(found->kind);
  tasks_.erase(found);
}

LogCapture& LogCapture::Get() {
  static LogCapture capture;
  return capture;
}

std::vector<LogRecord> LogCapture::Records() {
  const std::lock_guard lock(mutex_);
  return records_;
}

std::vector<std::string> LogCapture::Texts() {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> result;
  for (const LogRecord& record : records_) result.push_back(record.text);
  return result;
}

std::string LogCapture::Joined() {
  const std::lock_guard lock(mutex_);
  std::string result;
  for (const LogRecord& record : records_) result += record.text;
  return result;
}

bool LogCapture::Contains(std::string_view text) { return Count(text) > 0; }

bool LogCapture::Contains(std::string_view prefix, std::string_view text) {
  return Count(prefix, text) > 0;
}

int LogCapture::Count(std::string_view text) {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(
      std::count_if(records_.begin(), records_.end(),
                    [text](const LogRecord& record) { return record.text == text; }));
}

int LogCapture::Count(std::string_view prefix, std::string_view text) {
  return Count(Prefixed(prefix, text));
}

void LogCapture::Clear() {
  const std::lock_guard lock(mutex_);
  records_.clear();
}

void LogCapture::Append(LogRecord record) {
  const std::lock_guard lock(mutex_);
  records_.push_back(std::move(record));
}

void SetFlashHome(std::optional<std::string> directory) { FlashHome() = std::move(directory); }

}  // namespace ncdm_test

using ncdm_test::FakePlatform;
using ncdm_test::NewTask;
using ncdm_test::TaskKind;

zu_thread* zu_thread_add_event_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                        int value, const char* name) {
  return FakePlatform::Get().Schedule(NewTask(TaskKind::kEvent, master, func, arg, value, name));
}

zu_thread* zu_thread_add_timer(zu_thread_master* master, zu_thread_func func, void* arg,
                               long seconds) {
  return FakePlatform::Get().Schedule(
      NewTask(TaskKind::kTimer, master, func, arg, 0, nullptr, seconds));
}

zu_thread* zu_thread_add_timer_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                        long seconds, const char* name) {
  return FakePlatform::Get().Schedule(
      NewTask(TaskKind::kNamedTimer, master, func, arg, 0, name, seconds));
}

zu_thread* zu_thread_add_timer_timeval(zu_thread_master* master, zu_thread_func func, void* arg,
                                       const struct timeval* delay) {
  return FakePlatform::Get().Schedule(NewTask(TaskKind::kTimevalTimer, master, func, arg, 0,
                                              nullptr, delay->tv_sec, delay->tv_usec));
}

zu_thread* zu_thread_add_read_withname(zu_thread_master* master, zu_thread_func func, void* arg,
                                       int fd, const char* name) {
  return FakePlatform::Get().Schedule(NewTask(TaskKind::kRead, master, func, arg, fd, name));
}

zu_thread* zu_thread_add_write(zu_thread_master* master, zu_thread_func func, void* arg, int fd) {
  return FakePlatform::Get().Schedule(NewTask(TaskKind::kWrite, master, func, arg, fd, nullptr));
}

void zu_thread_cancel(zu_thread* thread) { FakePlatform::Get().Cancel(thread); }

void printk_syslog_ext(int level, const char* module, const char* kind, log_printk_type_e type,
                       const char* format, ...) {
  va_list args;
  va_start(args, format);
  char* text = nullptr;
  const int length = vasprintf(&text, format, args);
  va_end(args);
  // A byte of value 0 printed as "%c" is a part of the text.
  ncdm_test::LogCapture::Get().Append(
      {level, module, kind, type,
       length < 0 ? "" : std::string(text, static_cast<size_t>(length))});
  if (length >= 0) free(text);
}

int fs_get_flash_home(char* path, int size) {
  const std::optional<std::string>& home = ncdm_test::FlashHome();
  if (!home || size < 1 || home->size() >= static_cast<size_t>(size)) return -1;
  memcpy(path, home->c_str(), home->size() + 1);
  return 0;
}
