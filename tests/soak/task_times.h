// How long each of the library's tasks holds the event loop.
#ifndef TESTS_SOAK_TASK_TIMES_H_
#define TESTS_SOAK_TASK_TIMES_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace ncdm_test {

// The library's kinds of tasks.
enum class LoopTask {
  kConnect,
  kReconnect,
  kRead,
  kFilterAnswer,
  kIdAnswer,
  kRegister,
  kUnregisterClient,
  kWatch
};
inline constexpr std::size_t kLoopTasks = 8;
const char* LoopTaskName(LoopTask kind);

// The longest of a kind of task, in nanoseconds.
struct TaskTime {
  std::int64_t count = 0;
  std::int64_t wall = 0;
  std::int64_t held = 0;  // of the wall's time, less what the thread was ready and not let run
  std::int64_t cpu = 0;   // used by the thread, as far as the kernel of a virtual machine can tell

  // Takes the longer times, and the sum of the counts.
  void Merge(const TaskTime& other);
};

// Looks at each task, before and behind its time.
class TaskObserver {
 public:
  virtual ~TaskObserver() = default;
  virtual void Before(LoopTask kind) = 0;
  // `time` is that of this one task.
  virtual void After(LoopTask kind, const TaskTime& time) = 0;
};

class TaskTimes {
 public:
  // `observer` may be null.
  explicit TaskTimes(TaskObserver* observer = nullptr);
  ~TaskTimes();
  TaskTimes(const TaskTimes&) = delete;
  TaskTimes& operator=(const TaskTimes&) = delete;

  // Puts a measuring function before each task that is scheduled. Call it before each turn of the
  // loop: what a turn schedules runs in the next one at the earliest. Only on the loop's thread.
  void Attach();

  // Of all kinds together.
  TaskTime Longest() const;
  // A text of each kind's figures, in microseconds.
  std::string Text() const;

 private:
  std::array<TaskTime, kLoopTasks> times_{};
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_TASK_TIMES_H_
