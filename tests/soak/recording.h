// What a run held and how long its requests took, sampled at moments at which it should hold the
// same: the file of samples, and the judgement whether it grew.
#ifndef TESTS_SOAK_RECORDING_H_
#define TESTS_SOAK_RECORDING_H_

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "latencies.h"
#include "process_figures.h"
#include "run_options.h"

namespace ncdm_test {

// A kind of request.
enum class Kind { kEditEntry, kEditSubtree, kRead, kFind, kAnnounce, kReconnect };
inline constexpr std::array<const char*, 6> kKindNames = {"entry", "subtree",  "read",
                                                          "find",  "announce", "reconnect"};

class Recording {
 public:
  // Room for so many samples is made at once, so that a sample costs no memory. They are written
  // to `path` as well, unless that is empty.
  explicit Recording(std::size_t samples, const std::string& path = SampleFile());

  void Add(Kind kind, std::chrono::nanoseconds duration);
  void Sample();

  // Fails the test when the process has grown: the least of the last quarter of the samples against
  // the least of the second, what came before being warm-up.
  void ExpectFlat() const;
  // One line of all figures.
  std::string Line() const;

 private:
  struct CloseFile {
    void operator()(FILE* file) const { fclose(file); }
  };
  using Figure = std::int64_t ProcessFigures::*;

  void WriteHead() const;
  void WriteRow(const ProcessFigures& figures) const;
  std::int64_t LeastIn(std::size_t quarter, Figure figure) const;
  std::int64_t Growth(Figure figure) const { return LeastIn(3, figure) - LeastIn(1, figure); }

  const SoakClock::time_point start_ = SoakClock::now();
  std::unique_ptr<FILE, CloseFile> file_;
  std::vector<ProcessFigures> samples_;
  std::array<Latencies, kKindNames.size()> since_sample_{};
  std::array<Latencies, kKindNames.size()> all_{};
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_RECORDING_H_
