// What the library is held to, as ratios.
#ifndef BENCH_GOALS_H_
#define BENCH_GOALS_H_

#include <string>
#include <vector>

#include "bench/results.h"

namespace bench {

struct Verdict {
  std::string goal;   // "one leaf, tree, two lists deep, n=100"
  double figure = 0;  // in `unit`
  double floor = 0;   // what it is compared with; 0: nothing but the limit
  std::string unit;
  double value = 0;  // the ratio, or the figure itself, that the limit is for
  double limit = 0;
  bool at_least = false;  // the limit is a lower one
  bool met = false;
  std::string note{};  // what one should know of it
};

// The goals for which there are figures.
std::vector<Verdict> Judge(const std::vector<Figure>& figures, double callback_ns);

void Print(const std::vector<Verdict>& verdicts);

}  // namespace bench

#endif  // BENCH_GOALS_H_
