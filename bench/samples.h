#ifndef BENCH_SAMPLES_H_
#define BENCH_SAMPLES_H_

#include <cstddef>
#include <vector>

namespace bench {

// Durations in nanoseconds.
class Samples {
 public:
  void Add(double nanoseconds) { values_.push_back(nanoseconds); }
  std::size_t size() const { return values_.size(); }
  bool empty() const { return values_.empty(); }

  // The value below which `share` of the samples lie; 0 without samples.
  double Quantile(double share) const;
  double Median() const { return Quantile(0.5); }
  double P99() const { return Quantile(0.99); }
  double Min() const { return Quantile(0); }

 private:
  std::vector<double> values_;
};

}  // namespace bench

#endif  // BENCH_SAMPLES_H_
