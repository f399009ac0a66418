// Figures, as they are printed, kept as JSON and compared with the goals.
#ifndef BENCH_RESULTS_H_
#define BENCH_RESULTS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "bench/model.h"
#include "bench/placement.h"

namespace bench {

struct Figure {
  std::string name;       // what was done: "read-leaf"
  std::string index;      // "tree", "hash", or "" where no list is concerned
  int depth = 0;          // lists deep
  std::int64_t n = 0;     // entries
  int leaves = 0;         // of an entry
  std::string variant;    // whatever else tells figures of one name apart
  std::string placement;  // "one-core", "unpinned", or "in-process"

  std::string unit;  // of the next four: "us", "ns/leaf", ...
  double median = 0;
  double p99 = 0;    // 0: none
  double floor = 0;  // 0: none
  double floor_p99 = 0;
  std::string error{};  // why there is no figure

  double Ratio() const { return floor > 0 ? median / floor : 0; }
};

// A figure of a list, without its numbers.
Figure FigureOf(std::string name, const Model& model, Placement placement);

class Results {
 public:
  // Prints the figure at once.
  void Add(Figure figure);

  const std::vector<Figure>& figures() const { return figures_; }

 private:
  std::vector<Figure> figures_;
};

void PrintTableHead();

}  // namespace bench

#endif  // BENCH_RESULTS_H_
