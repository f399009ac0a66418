// Whether the library holds the event loop for longer than it may: 10 ms, and a time for each
// element that the one request, answer or registration run itself carries. What the application's
// callbacks take is apart.
#ifndef TESTS_SOAK_HOLD_JUDGE_H_
#define TESTS_SOAK_HOLD_JUDGE_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "netconf_dm_kernel.h"
#include "sched_times.h"
#include "task_times.h"

namespace ncdm_test {

// The limit of one task, in nanoseconds.
inline constexpr std::int64_t kHoldNs = 10 * std::int64_t{1000000};
inline constexpr std::int64_t kHoldNsPerElement = 2000;

// One task, and what it carried: elements of the request that it collected, executed or released,
// values of the answer that it made, registrations of the run, nodes that it was to print.
struct Hold {
  LoopTask kind = LoopTask::kConnect;
  std::int64_t ns = 0;
  std::int64_t elements = 0;

  std::int64_t limit() const { return kHoldNs + elements * kHoldNsPerElement; }
  double share() const { return static_cast<double>(ns) / static_cast<double>(limit()); }
  bool IsTooLong() const { return ns > limit(); }
  // "read, 13.2 ms with 65536 elements, 4 % of its limit".
  std::string Text() const;
};

class HoldJudge : public TaskObserver {
 public:
  void Before(LoopTask kind) override;
  void After(LoopTask kind, const TaskTime& time) override;

  // Threads that share locks with the loop. A task that sleeps waits for one of them; only while
  // they run is that the library's doing, and not the machine's, which has no processor for them.
  void set_threads(std::vector<const SchedTimes*> threads) { threads_ = std::move(threads); }

  // How much of a task's sleep none of the threads is sure to have caused, of which each ran for so
  // long meanwhile. What one of them did while the task was ready and waited for a processor made
  // nobody sleep.
  static std::int64_t AsleepForNobody(const TaskTime& time,
                                      const std::vector<std::int64_t>& running);

  // Callbacks of the application, the judge aside, add what they take here.
  static void CallbackTook(std::int64_t ns);

  // Since the last Forget: the hold that came nearest to its limit, and the longest.
  const Hold& worst() const { return worst_; }
  const Hold& longest() const { return longest_; }
  void Forget();

 private:
  std::vector<std::int64_t> ThreadsRunning() const;

  // Elements of a list, counted as they are appended: to walk it before each message of a long
  // request would take longer than the request.
  struct Counted {
    const list_head* list;
    const list_head* last = nullptr;
    std::int64_t count = 0;

    // How many were appended, or released, since the last time.
    std::int64_t Change();
  };
  Counted edits_{&g_nc_dm_edit_node_list.edit_head};
  Counted filters_{&g_nc_dm_filter_node_list.filter_head};

  // The pending answer, to see whether a task has made another.
  struct Answer {
    const list_head* first = nullptr;
    const list_head* last = nullptr;
    nc_int32 sid = 0;

    bool operator==(const Answer&) const = default;
  };
  static Answer PendingAnswer();
  static std::int64_t AnswerElements();

  std::vector<const SchedTimes*> threads_;
  // Before the task.
  std::int64_t elements_ = 0;
  Answer answer_before_;
  std::int64_t callbacks_before_ = 0;
  std::vector<std::int64_t> running_before_;
  Hold worst_;
  Hold longest_;
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_HOLD_JUDGE_H_
