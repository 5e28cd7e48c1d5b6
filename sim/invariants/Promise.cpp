#include "sim/invariants/Promise.h"

#include <utility>

namespace Routing::Sim {

Promise::Promise(std::string_view name, World& world, const ContinuityMeters& meters,
                 const Troubles& troubles, std::vector<Violation>& violations, Broken broken)
    : Invariant(name, world, violations),
      meters_(meters),
      troubles_(troubles),
      stops_(broken == Broken::endsTheRun),
      given_(world.policy() == Pim::Bsr::BsrPolicy::continuous()),
      seen_(meters.size()) {}

void Promise::settled(const std::vector<RouterId>&) {
  if (given_ && !troubles_.several()) judgeAll();
  for (std::size_t i = 0; i < meters_.size(); ++i) seen_[i] = meters_[i]->gaps().size();
}

void Promise::judgeAll() {
  for (std::size_t i = 0; i < meters_.size(); ++i) {
    const ContinuityMeter& meter = *meters_[i];
    for (std::size_t gap = seen_[i]; gap < meter.gaps().size(); ++gap) judge(meter.gaps()[gap]);
    for (const Lack lack : allLacks) {
      if (!meter.anyOpen(lack)) continue;
      for (const Gap& gap : meter.open(lack)) judge(gap);
    }
  }
}

void Promise::brokenBy(const std::string& what) {
  if (!std::exchange(given_, false)) return;
  stops_ ? violated(what) : noted(what);
}

}  // namespace Routing::Sim
