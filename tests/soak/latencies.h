// Durations without end in bounded memory: what is measured must not itself grow.
#ifndef TESTS_SOAK_LATENCIES_H_
#define TESTS_SOAK_LATENCIES_H_

#include <array>
#include <chrono>
#include <cstdint>

namespace ncdm_test {

class Latencies {
 public:
  void Add(std::chrono::nanoseconds duration);
  void Add(const Latencies& others);

  std::int64_t count() const { return count_; }
  // In microseconds; 0 without durations. A quantile is right to an eighth.
  double Quantile(double share) const;
  double Max() const { return static_cast<double>(max_ns_) / 1000; }

 private:
  // Eight for each power of two.
  static constexpr int kSteps = 8;
  static constexpr std::size_t kBuckets = std::size_t{48} * kSteps;
  static std::size_t BucketOf(std::int64_t ns);
  static double UpperEnd(std::size_t bucket);

  std::array<std::int64_t, kBuckets> buckets_{};
  std::int64_t count_ = 0;
  std::int64_t max_ns_ = 0;
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_LATENCIES_H_
