#include "sim/invariants/StandingInvariants.h"

#include "sim/invariants/Alike.h"
#include "sim/invariants/BordersHold.h"
#include "sim/invariants/CandidatesServe.h"
#include "sim/invariants/CountersAddUp.h"
#include "sim/invariants/GroupsComplete.h"
#include "sim/invariants/MemoryBounded.h"
#include "sim/invariants/NoErrors.h"
#include "sim/invariants/NoStorms.h"
#include "sim/invariants/OneBsr.h"
#include "sim/invariants/OneRpSet.h"
#include "sim/invariants/RpsExpire.h"
#include "sim/invariants/SameRp.h"
#include "sim/invariants/Served.h"

namespace Routing::Sim {

StandingInvariants::StandingInvariants(World& world, Beliefs& beliefs, Promise::Broken promise)
    : troubles_(world) {
  for (const AddressFamily af : world.families()) {
    continuity_.push_back(std::make_unique<ContinuityMeter>(world, beliefs, af));
  }
  invariants_.push_back(std::make_unique<NoErrors>(world, violations_));
  invariants_.push_back(std::make_unique<BordersHold>(world, violations_));
  invariants_.push_back(std::make_unique<RpsExpire>(world, violations_));
  invariants_.push_back(std::make_unique<GroupsComplete>(world, violations_));
  invariants_.push_back(std::make_unique<CountersAddUp>(world, violations_));
  invariants_.push_back(std::make_unique<NoStorms>(world, violations_));
  invariants_.push_back(std::make_unique<MemoryBounded>(world, violations_));
  invariants_.push_back(
      std::make_unique<Served>(world, continuity_, troubles_, violations_, promise));
  invariants_.push_back(
      std::make_unique<Alike>(world, continuity_, troubles_, violations_, promise));
  invariants_.push_back(std::make_unique<OneBsr>(world, beliefs, violations_));
  invariants_.push_back(std::make_unique<OneRpSet>(world, beliefs, violations_));
  invariants_.push_back(std::make_unique<SameRp>(world, beliefs, violations_));
  invariants_.push_back(std::make_unique<CandidatesServe>(world, beliefs, violations_));
}

std::uint64_t StandingInvariants::judgedQuiet() const {
  for (const auto& invariant : invariants_) {
    if (const auto* quiet = dynamic_cast<const OneRpSet*>(invariant.get())) return quiet->judged();
  }
  return 0;
}

}  // namespace Routing::Sim
