#pragma once

#include "sim/invariants/Promise.h"

namespace Routing::Sim {

/// No router that goes on is ever without an RP for a group that has one within reach; and one that
/// starts with nothing has all that others have within seconds of its first Hello, if nothing else
/// is in trouble.
class Served final : public Promise {
 public:
  static constexpr double longestStart = 6.0;  ///< seconds

  Served(World& world, const ContinuityMeters& meters, const Troubles& troubles,
         std::vector<Violation>& violations, Broken broken)
      : Promise("served", world, meters, troubles, violations, broken) {}

 private:
  void judge(const Gap& gap) override;
};

}  // namespace Routing::Sim
