// A second application thread that registers all the time and keeps the longest time that a call
// took.
#ifndef BENCH_HOLD_PROBE_H_
#define BENCH_HOLD_PROBE_H_

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

namespace bench {

class HoldProbe {
 public:
  // `path`: an instance that exists, so that the registrations do not let the tree grow.
  explicit HoldProbe(std::string path);
  ~HoldProbe();
  HoldProbe(const HoldProbe&) = delete;
  HoldProbe& operator=(const HoldProbe&) = delete;

  // Without the time in which this thread or the loop's could run and was not let: that is the
  // machine's doing.
  std::int64_t longest_ns() const { return longest_ns_; }
  std::int64_t longest_wall_ns() const { return longest_wall_ns_; }
  std::int64_t calls() const { return calls_; }

 private:
  void Run();

  std::string path_;
  std::atomic<bool> stop_{false};
  std::atomic<std::int64_t> longest_ns_{0};
  std::atomic<std::int64_t> longest_wall_ns_{0};
  std::atomic<std::int64_t> calls_{0};
  std::thread thread_;
};

}  // namespace bench

#endif  // BENCH_HOLD_PROBE_H_
