// Measures exchanges with an agent, and beside them, in turns, the same frames between two bare
// loops.
#ifndef BENCH_EXCHANGE_H_
#define BENCH_EXCHANGE_H_

#include <chrono>
#include <string>
#include <vector>

#include "bench/agent_process.h"
#include "bench/placement.h"
#include "bench/samples.h"
#include "server/request.h"

namespace bench {

Bytes Encode(const ncdm::server::Request& request);

// One kind of request, in as many variations as there are requests.
struct Step {
  std::string name;
  std::vector<Bytes> requests;
};

struct StepResult {
  std::string name;
  Samples agent;
  Samples floor;
  Received answer;  // of one exchange
};

struct Budget {
  std::chrono::nanoseconds time{};  // for both ends of the comparison together
  int min_samples = 3;
};

// The steps in turn, one request of each: what the first creates the next may remove. All steps
// have as many requests.
std::vector<StepResult> MeasureSteps(AgentProcess* agent, const std::vector<Step>& steps,
                                     Placement placement, const Budget& budget);

}  // namespace bench

#endif  // BENCH_EXCHANGE_H_
