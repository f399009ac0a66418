// One kind of request, over and over, for an agent that runs under a profiler.
#ifndef BENCH_PROFILE_H_
#define BENCH_PROFILE_H_

#include <string>

#include "bench/model.h"

namespace bench {

// What can be profiled: "read-leaf", "create-entry", ...
std::string ProfileNames();

// Runs `rounds` requests of that kind, or as many registrations as the model has paths, and ends
// the agent in good order. The number of operations, which the profile's cost is to be divided by:
// for reads of whole lists and get-id, the leaves and entries visited. Throws std::invalid_argument
// for an unknown name.
double RunProfile(const std::string& name, const Model& model, int rounds);

}  // namespace bench

#endif  // BENCH_PROFILE_H_
