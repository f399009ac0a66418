// Ends the process when something that should go on stands still: a deadlock is a failure with a
// message, not a run that never ends.
#ifndef TESTS_SOAK_WATCHDOG_H_
#define TESTS_SOAK_WATCHDOG_H_

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ncdm_test {

class Watchdog {
 public:
  struct Watched {
    std::string name;
    std::function<std::int64_t()> progress;  // called on the watchdog's thread
  };

  explicit Watchdog(std::vector<Watched> watched);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  void Run();

  const std::vector<Watched> watched_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_WATCHDOG_H_
