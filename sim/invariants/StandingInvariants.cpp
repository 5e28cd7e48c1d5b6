#include "sim/invariants/StandingInvariants.h"

#include <algorithm>

#include "sim/invariants/MessageRules.h"
#include "sim/invariants/QuietRules.h"
#include "sim/invariants/StatusRules.h"

namespace Routing::Sim {

StandingInvariants::StandingInvariants(World& world, Beliefs& beliefs, Promise::Broken promise)
    : troubles_(world) {
  for (const AddressFamily af : world.families()) {
    continuity_.push_back(std::make_unique<ContinuityMeter>(world, beliefs, af));
  }
  addStatusRules(world, violations_, invariants_);
  addMessageRules(world, violations_, invariants_);
  addPromises(world, continuity_, troubles_, violations_, promise, invariants_);
  addQuietRules(world, beliefs, violations_, invariants_);
}

std::uint64_t StandingInvariants::judgedQuiet() const {
  std::uint64_t most = 0;
  for (const auto& invariant : invariants_) {
    const auto* quiet = dynamic_cast<const QuietInvariant*>(invariant.get());
    if (quiet != nullptr) most = std::max(most, quiet->judged());
  }
  return most;
}

}  // namespace Routing::Sim
