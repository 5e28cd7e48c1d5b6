#include "sim/core/Distribution.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Routing::Sim {

Distribution::Distribution(std::vector<double> values) : values_(std::move(values)) {
  std::sort(values_.begin(), values_.end());
}

double Distribution::at(double share) const {
  if (values_.empty()) return 0.0;
  const double rank = std::ceil(share * static_cast<double>(values_.size()));
  return values_[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
}

}  // namespace Routing::Sim
