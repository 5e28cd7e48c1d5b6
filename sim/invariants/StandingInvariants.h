#pragma once

#include <memory>
#include <vector>

#include "sim/core/Beliefs.h"
#include "sim/invariants/Invariant.h"
#include "sim/invariants/Promises.h"
#include "sim/invariants/Troubles.h"

namespace Routing::Sim {

/// All rules that every network must obey, checked after every event from now on. The first
/// violation ends the run.
class StandingInvariants {
 public:
  StandingInvariants(World& world, Beliefs& beliefs,
                     Promise::Broken promise = Promise::Broken::endsTheRun);

  const std::vector<Violation>& violations() const { return violations_; }
  const Invariants& invariants() const { return invariants_; }
  /// How groups and routers are served; one meter for each address family.
  const ContinuityMeters& continuity() const { return continuity_; }
  /// How often the rules for a quiet network were judged; tests ask, because a rule that never
  /// judges always holds.
  std::uint64_t judgedQuiet() const;

 private:
  std::vector<Violation> violations_;
  ContinuityMeters continuity_;
  Troubles troubles_;
  Invariants invariants_;
};

}  // namespace Routing::Sim
