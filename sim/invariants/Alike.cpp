#include "sim/invariants/Alike.h"

#include <algorithm>

#include "sim/invariants/BsmPeek.h"
#include "sim/invariants/Quiet.h"

namespace Routing::Sim {

void Alike::transmitted(const Packet& packet) {
  if (!packet.is(Pim::PimType::bootstrap)) return;
  const auto bsm = peekBsm(*packet.payload, true);
  if (!bsm || !bsm->forward || !world().speaker(packet.sender, packet.af).owns(bsm->bsr)) return;
  double& heard = heard_[bsm->zone()];
  if (heard <= troubles().lastChange() && !troubles().torn()) heard = world().now();
}

// A flood may be answered by another one.
void Alike::judge(const Gap& gap) {
  if (gap.lack != Lack::agreement) return;
  const auto heard = heardSince(gap.about.af());
  if (!heard || gap.to - std::max(gap.from, *heard) <= 2 * floodingTime(world())) return;
  brokenBy(nameOf(gap.router) + " chooses another RP for groups of " + gap.about.text() +
           " than others since " + std::to_string(gap.from) + " s");
}

std::optional<double> Alike::heardSince(AddressFamily af) const {
  double last = 0.0;
  for (const auto& [zone, heard] : heard_) {
    if (zone.af() != af) continue;
    if (heard <= troubles().lastChange()) return std::nullopt;
    last = std::max(last, heard);
  }
  return last;
}

}  // namespace Routing::Sim
