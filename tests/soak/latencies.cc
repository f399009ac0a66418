#include "latencies.h"

#include <algorithm>
#include <cmath>

namespace ncdm_test {

std::size_t Latencies::BucketOf(std::int64_t ns) {
  const double place = std::log2(static_cast<double>(std::max<std::int64_t>(ns, 1))) * kSteps;
  return std::min(static_cast<std::size_t>(place), kBuckets - 1);
}

double Latencies::UpperEnd(std::size_t bucket) {
  return std::exp2(static_cast<double>(bucket + 1) / kSteps) / 1000;
}

void Latencies::Add(std::chrono::nanoseconds duration) {
  ++buckets_[BucketOf(duration.count())];
  ++count_;
  max_ns_ = std::max<std::int64_t>(max_ns_, duration.count());
}

void Latencies::Add(const Latencies& others) {
  for (std::size_t i = 0; i < kBuckets; ++i) buckets_[i] += others.buckets_[i];
  count_ += others.count_;
  max_ns_ = std::max(max_ns_, others.max_ns_);
}

double Latencies::Quantile(double share) const {
  const auto wanted = static_cast<std::int64_t>(std::ceil(share * static_cast<double>(count_)));
  std::int64_t seen = 0;
  for (std::size_t i = 0; i < kBuckets && count_ > 0; ++i) {
    seen += buckets_[i];
    if (seen >= wanted) return std::min(UpperEnd(i), Max());
  }
  return 0;
}

}  // namespace ncdm_test
