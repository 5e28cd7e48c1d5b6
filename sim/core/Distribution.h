#pragma once

#include <cstddef>
#include <vector>

namespace Routing::Sim {

/// Measured values, in order.
class Distribution {
 public:
  explicit Distribution(std::vector<double> values);

  const std::vector<double>& values() const { return values_; }
  bool empty() const { return values_.empty(); }
  /// The value that such a share of all, from 0 to 1, does not exceed; 0 if there is none.
  double at(double share) const;

 private:
  std::vector<double> values_;
};

}  // namespace Routing::Sim
