// Doubles of the platform: the seven zu_thread operations, the log and the flash home directory.
//
// Each is one object for the process, put back to its initial state before each test. The library's
// own state is not touched by that: a fixture that leaves tasks behind has to clear the handles
// that the library keeps.
#ifndef TESTS_SUPPORT_FAKE_PLATFORM_H_
#define TESTS_SUPPORT_FAKE_PLATFORM_H_

#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "printk_syslog.h"
#include "zu_thread.h"

namespace ncdm_test {

// The operation that scheduled a task.
enum class TaskKind {
  kEvent,         // zu_thread_add_event_withname
  kTimer,         // zu_thread_add_timer
  kNamedTimer,    // zu_thread_add_timer_withname
  kTimevalTimer,  // zu_thread_add_timer_timeval
  kRead,          // zu_thread_add_read_withname
  kWrite,         // zu_thread_add_write
};

// A scheduled task: the record that its function sees (master, func, arg, value, name), and more.
struct FakeTask : zu_thread {
  TaskKind kind = TaskKind::kEvent;
  long sec = 0;  // the delay of a timer
  long usec = 0;
};

// Records what is scheduled; a task runs when the test says so.
class FakePlatform {
 public:
  static FakePlatform& Get();

  // A master to hand to the library. Any other non-null master does as well.
  static zu_thread_master* Master();

  // What is scheduled and has neither run nor been cancelled, in the order of scheduling. A pointer
  // stays valid until its task has run or is cancelled.
  std::vector<FakeTask*> Pending();
  std::vector<FakeTask*> Pending(TaskKind kind);
  // The first pending task with this function, or null.
  FakeTask* Find(zu_thread_func func);
  FakeTask* Find(TaskKind kind);
  bool IsPending(const zu_thread* task);

  // Runs a pending task: it is unscheduled, its function is called, its record is released.
  // Returns the function's result. A task that is not pending fails the test, with INT_MIN.
  int Run(zu_thread* task);
  // Runs the first pending task of the kind, or with the function; none fails the test.
  int RunNext(TaskKind kind);
  int RunNext(zu_thread_func func);

  // How many tasks were scheduled, and cancelled, in all (and of a kind). A cancellation of what is
  // not pending fails the test and does not count.
  int scheduled();
  int cancelled();
  int cancelled(TaskKind kind);

  // Makes the next `count` scheduling calls return null.
  void FailNext(int count);
  // Makes every n-th scheduling call return null; 0 ends that.
  void FailEvery(int n);

  // Releases all tasks and forgets the counts.
  void Reset();

  // The operations, for the C functions.
  zu_thread* Schedule(const FakeTask& task);
  void Cancel(zu_thread* task);

 private:
  using Tasks = std::list<FakeTask>;
  // Finds by address without reading through the pointer, which may be stale.
  Tasks::iterator Locate(const zu_thread* task);

  std::recursive_mutex mutex_;
  Tasks tasks_;
  std::vector<TaskKind> cancelled_;
  int scheduled_ = 0;
  int failures_ = 0;
  int fail_every_ = 0;
  int calls_ = 0;
};

struct LogRecord {
  int level;
  std::string module;
  std::string kind;
  log_printk_type_e type;
  std::string text;  // formatted, with the prefix that the library put in front
};

inline constexpr std::string_view kErrorPrefix = "[Error: NETCONF-CLIENT]";
inline constexpr std::string_view kInfoPrefix = "[Info: NETCONF-CLIENT]";
inline constexpr std::string_view kPacketPrefix = "[Pkt: NETCONF-CLIENT]";

// Keeps what was logged. The library logs only what its debug mask lets through: see DebugMask.
class LogCapture {
 public:
  static LogCapture& Get();

  std::vector<LogRecord> Records();
  std::vector<std::string> Texts();
  // All texts in a row, for output that comes in pieces.
  std::string Joined();

  // Whether there is a record whose whole text is `text`; with a prefix, prefix, blank and text.
  bool Contains(std::string_view text);
  bool Contains(std::string_view prefix, std::string_view text);
  bool ContainsError(std::string_view text) { return Contains(kErrorPrefix, text); }
  bool ContainsInfo(std::string_view text) { return Contains(kInfoPrefix, text); }
  bool ContainsPacket(std::string_view text) { return Contains(kPacketPrefix, text); }
  // How many there are.
  int Count(std::string_view text);
  int Count(std::string_view prefix, std::string_view text);

  void Clear();
  void Append(LogRecord record);

 private:
  std::mutex mutex_;
  std::vector<LogRecord> records_;
};

// What fs_get_flash_home answers: a directory, or failure (which is how each test starts).
void SetFlashHome(std::optional<std::string> directory);

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_FAKE_PLATFORM_H_
