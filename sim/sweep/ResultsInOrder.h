#pragma once

#include <map>
#include <vector>

#include "sim/sweep/RunResult.h"
#include "sim/sweep/SeedBlock.h"

namespace Routing::Sim {

/// Gathers the results of many runs, and prints their texts in the order of the seeds as soon as no
/// earlier one is missing.
class ResultsInOrder {
 public:
  explicit ResultsInOrder(const SeedBlock& seeds) : missing_(seeds) {}

  /// A result that is there already is ignored: equal seeds have equal results.
  void add(std::vector<RunResult> results);
  bool complete() const { return missing_.empty(); }
  /// In the order of the seeds, once they are complete.
  std::vector<RunResult> take() { return std::move(inOrder_); }

 private:
  SeedBlock missing_;
  std::map<std::uint64_t, RunResult> early_;  // some before them are missing
  std::vector<RunResult> inOrder_;
};

}  // namespace Routing::Sim
