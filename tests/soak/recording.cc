#include "recording.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace ncdm_test {
namespace {

// What the allocator may keep for itself: freed pieces that it holds ready for the thread count as
// used.
constexpr std::int64_t kHeapSlack = std::int64_t{64} * 1024;
// The quarters that are compared begin half a run apart, so that this is a megabyte over all of it.
constexpr std::int64_t kResidentSlack = std::int64_t{512} * 1024;
// Fewer samples are no basis for a judgement.
constexpr std::size_t kLeastSamples = 8;

double Seconds(SoakClock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

}  // namespace

Recording::Recording(std::size_t samples, const std::string& path) {
  samples_.reserve(samples);
  if (path.empty()) return;
  file_.reset(fopen(path.c_str(), "we"));
  if (file_ == nullptr) throw std::runtime_error("cannot write " + path);
  WriteHead();
}

void Recording::Add(Kind kind, std::chrono::nanoseconds duration) {
  since_sample_.at(static_cast<std::size_t>(kind)).Add(duration);
}

void Recording::Sample() {
  // What the allocator holds free is the next request's. How much that is depends on where in the
  // heap the last pieces in use lie, and changes by megabytes from one round to the next. Pages
  // that a piece in use keeps from being given back stay, and count.
  malloc_trim(0);
  const ProcessFigures figures = ReadProcessFigures();
  samples_.push_back(figures);
  if (file_ != nullptr) WriteRow(figures);
  for (std::size_t kind = 0; kind < kKindNames.size(); ++kind) {
    all_[kind].Add(since_sample_[kind]);
    since_sample_[kind] = {};
  }
}

void Recording::WriteHead() const {
  fprintf(file_.get(), "seconds,resident_kib,heap_bytes,descriptors,requests");
  for (const char* kind : kKindNames) {
    fprintf(file_.get(), ",%s_p50_us,%s_p99_us,%s_max_us", kind, kind, kind);
  }
  fputc('\n', file_.get());
}

void Recording::WriteRow(const ProcessFigures& figures) const {
  std::int64_t requests = 0;
  for (const Latencies& latencies : since_sample_) requests += latencies.count();
  fprintf(file_.get(), "%.2f,%lld,%lld,%lld,%lld", Seconds(SoakClock::now() - start_),
          static_cast<long long>(figures.resident_bytes / 1024),
          static_cast<long long>(figures.heap_bytes), static_cast<long long>(figures.descriptors),
          static_cast<long long>(requests));
  for (const Latencies& latencies : since_sample_) {
    fprintf(file_.get(), ",%.1f,%.1f,%.1f", latencies.Quantile(0.5), latencies.Quantile(0.99),
            latencies.Max());
  }
  fputc('\n', file_.get());
  fflush(file_.get());
}

std::int64_t Recording::LeastIn(std::size_t quarter, Figure figure) const {
  std::int64_t least = std::numeric_limits<std::int64_t>::max();
  const std::size_t end = samples_.size() * (quarter + 1) / 4;
  for (std::size_t i = samples_.size() * quarter / 4; i < end; ++i) {
    least = std::min(least, samples_[i].*figure);
  }
  return least;
}

void Recording::ExpectFlat() const {
  ASSERT_GE(samples_.size(), kLeastSamples);
  EXPECT_LE(Growth(&ProcessFigures::heap_bytes), kHeapSlack);
  EXPECT_LE(Growth(&ProcessFigures::descriptors), 0);
  // A sanitizer keeps what is freed for a while.
  if (kIsSanitized) return;
  EXPECT_LE(Growth(&ProcessFigures::resident_bytes), kResidentSlack);
}

std::string Recording::Line() const {
  char text[256];
  const ProcessFigures last = samples_.empty() ? ProcessFigures{} : samples_.back();
  snprintf(text, sizeof(text),
           "%.0f s, heap %.1f KiB (%+.1f), resident %.1f MiB (%+.2f), descriptors %lld (%+lld)",
           Seconds(SoakClock::now() - start_), static_cast<double>(last.heap_bytes) / 1024,
           static_cast<double>(Growth(&ProcessFigures::heap_bytes)) / 1024,
           static_cast<double>(last.resident_bytes) / 1024 / 1024,
           static_cast<double>(Growth(&ProcessFigures::resident_bytes)) / 1024 / 1024,
           static_cast<long long>(last.descriptors),
           static_cast<long long>(Growth(&ProcessFigures::descriptors)));
  std::string line = text;
  for (std::size_t kind = 0; kind < kKindNames.size(); ++kind) {
    const Latencies& all = all_[kind];
    if (all.count() == 0) continue;
    snprintf(text, sizeof(text), "; %s %lld: p50 %.0f p99 %.0f max %.0f us", kKindNames[kind],
             static_cast<long long>(all.count()), all.Quantile(0.5), all.Quantile(0.99), all.Max());
    line += text;
  }
  return line;
}

}  // namespace ncdm_test
