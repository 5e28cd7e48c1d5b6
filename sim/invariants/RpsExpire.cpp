#include "sim/invariants/RpsExpire.h"

#include <algorithm>
#include <set>

namespace Routing::Sim {
namespace {

constexpr double tolerance = 1e-6;  // for sums of instants

}  // namespace

void RpsExpire::settled(const std::vector<RouterId>& touched) {
  for (const RouterId router : touched) {
    const double first = check(router);
    if (first != never) due_.push({first, router});
  }
  std::set<RouterId> late;
  while (!due_.empty() && due_.top().instant < world().instant()) {
    late.insert(due_.top().router);
    due_.pop();
  }
  for (const RouterId router : late) {
    const double first = check(router);
    if (first != never) due_.push({first, router});
  }
}

double RpsExpire::check(RouterId router) {
  double first = never;
  for (const AddressFamily af : world().families()) {
    const Speaker& speaker = world().speaker(router, af);
    if (!speaker.running()) continue;
    for (const auto& [prefix, range] : speaker.view()->crpSet()) {
      for (const auto& [address, rp] : range->rp()) {
        judge(router, speaker, *range, *rp);
        first = std::min(first, rp->expiryTime());
      }
    }
  }
  return first;
}

void RpsExpire::judge(RouterId router, const Speaker& speaker, const Pim::RpCandidateSet& range,
                      const Pim::RpEntry& rp) {
  const double now = world().instant();
  // A withdrawn RP is kept for its old hold time at most, and three periods may exceed the field.
  constexpr double longestHold = 3.0 * 21845;
  const double hold = rp.holdTime().value();
  const double most = hold > 0 && hold < 65535 ? hold : longestHold;
  const auto broken = [&](const std::string& how) {
    violated(nameOf(router) + ": RP " + rp.address().text() + " of " + range.prefix().text() + how);
  };
  const bool justStarted = speaker.startedAt() == now;  // what expired meanwhile goes at once
  if (rp.expiryTime() < now && !justStarted) {
    broken(" outlives its hold time by " + std::to_string(now - rp.expiryTime()) + " s");
  } else if (rp.expiryTime() > now + most + tolerance) {
    broken(" would outlive its hold time");
  } else if (!known(speaker, range, rp)) {
    broken(" belongs to no zone");
  }
}

bool RpsExpire::known(const Speaker& speaker, const Pim::RpCandidateSet& range,
                      const Pim::RpEntry& rp) const {
  for (const auto& [zone, rpSets] : speaker.status()->crpStatus()) {
    if (!zone.contains(range.prefix()) || !rpSets->status()) continue;
    const auto& set = rpSets->status()->crpSet(range.prefix());
    const auto source = set ? set->rp(rp.address()) : nullptr;
    if (source && source->expiryTime() == rp.expiryTime()) return true;
  }
  return false;
}

}  // namespace Routing::Sim
