#include "sim/invariants/CandidatesServe.h"

#include <algorithm>

namespace Routing::Sim {

void CandidatesServe::judge() {
  for (RouterId id = 0; id < world().topology().routers().size(); ++id) {
    if (!world().up(id)) continue;
    for (const AddressFamily af : world().families()) {
      const Speaker& speaker = world().speaker(id, af);
      for (const auto& [address, rp] : speaker.duties().rps) {
        for (const auto& [range, priority] : rp.ranges) judgeRange(id, speaker, address, range);
      }
    }
  }
}

void CandidatesServe::judgeRange(RouterId router, const Speaker& speaker, const IpGenAddr& address,
                                 const IpGenPrefix& range) {
  const Duties::Rp& candidate = speaker.duties().rps.at(address);
  const ZoneBelief* zone = nullptr;  // the most specific one that the router knows a BSR of
  for (const ZoneBelief& known : beliefs().of(router, speaker.af()).zones) {
    if (known.zone.contains(range) && !known.bsr.isUnset()) zone = &known;
  }
  if (zone == nullptr || !permitted(zone->bsr, address)) return;
  const auto& set = speaker.view()->crpSet(range);
  const auto rp = set ? set->rp(address) : nullptr;
  const std::string about =
      nameOf(router) + ", candidate RP " + address.text() + " for " + range.text() + ", ";
  if (!rp && set && full(*set, candidate.ranges.at(range))) return;
  if (!rp) return violated(about + "is not in its own RP set");
  const bool bidirectional = rp->mode() == Pim::PimMode::bidirectional;
  if (rp->priority().value() != candidate.ranges.at(range) ||
      bidirectional != candidate.bidirectional) {
    violated(about + "is in its RP set with another priority or mode");
  }
}

bool CandidatesServe::permitted(const IpGenAddr& bsr, const IpGenAddr& rp) const {
  for (RouterId id = 0; id < world().topology().routers().size(); ++id) {
    const Speaker& speaker = world().speaker(id, bsr.af());
    if (!world().up(id) || !speaker.owns(bsr)) continue;
    return speaker.duties().permits(rp);
  }
  return false;
}

// A message names no more of a range; others as good may stand before this one.
bool CandidatesServe::full(const Pim::RpCandidateSet& set, std::uint16_t priority) {
  constexpr std::size_t most = 255;
  const auto& rps = set.rp();
  return rps.size() >= most && std::all_of(rps.begin(), rps.end(), [&](const auto& entry) {
           return entry.second->priority().value() <= priority;
         });
}

}  // namespace Routing::Sim
