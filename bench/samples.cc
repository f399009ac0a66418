#include "bench/samples.h"

#include <algorithm>

namespace bench {

double Samples::Quantile(double share) const {
  if (values_.empty()) return 0;
  std::vector<double> values = values_;
  const auto last = static_cast<double>(values.size() - 1);
  const auto place = values.begin() + static_cast<std::ptrdiff_t>(share * last);
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

}  // namespace bench
