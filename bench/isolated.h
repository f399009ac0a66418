// Runs a measurement in a process of its own, because what it leaves of the heap, or of the
// library's one tree, would spoil the next.
#ifndef BENCH_ISOLATED_H_
#define BENCH_ISOLATED_H_

#include <functional>
#include <vector>

namespace bench {

// What `measure` returned. Throws std::runtime_error when it did not.
std::vector<double> RunIsolated(const std::function<std::vector<double>()>& measure);

}  // namespace bench

#endif  // BENCH_ISOLATED_H_
