#include "sim/invariants/BordersHold.h"

#include "sim/invariants/BsmPeek.h"

namespace Routing::Sim {

bool BordersHold::border(RouterId router, const Packet& packet) const {
  const Duties& duties = world().speaker(router, packet.af).duties();
  if (duties.borders.empty()) return false;
  const auto bsm = peekBsm(*packet.payload, true);
  return bsm &&
         !duties.passes(world().topology().network(packet.network).intfOf(router), bsm->zone());
}

void BordersHold::transmitted(const Packet& packet) {
  if (border(packet.sender, packet)) {
    violated(nameOf(packet.sender) + " sends a Bootstrap message across its border " +
             world().topology().network(packet.network).name);
  }
}

void BordersHold::delivering(const Packet& packet, RouterId to) {
  const Speaker& speaker = world().speaker(to, packet.af);
  if (!speaker.running() || !border(to, packet)) return;
  atBorder_ = {to, packet.af, speaker.status()->counters()->rxBsmSuccess()};
}

void BordersHold::settled(const std::vector<RouterId>&) {
  if (!atBorder_) return;
  const Speaker& speaker = world().speaker(atBorder_->router, atBorder_->af);
  if (speaker.status()->counters()->rxBsmSuccess() != atBorder_->accepted) {
    violated(nameOf(atBorder_->router) + " accepts a Bootstrap message on a border");
  }
  atBorder_.reset();
}

}  // namespace Routing::Sim
