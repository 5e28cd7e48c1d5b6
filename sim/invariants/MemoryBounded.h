#pragma once

#include "sim/invariants/Invariant.h"

namespace Routing::Sim {

/// What others can make a router hold stays within its limits, and neither timers nor packets pile
/// up. Looked at every few seconds.
class MemoryBounded final : public Invariant {
 public:
  MemoryBounded(World& world, std::vector<Violation>& violations)
      : Invariant("memory bounded", world, violations) {}
  void settled(const std::vector<RouterId>& touched) override;

 private:
  /// Returns the number of zones, ranges and RPs that the router holds.
  std::size_t check(RouterId router, const Speaker& speaker);

  double lookedAt_ = 0.0;
};

}  // namespace Routing::Sim
