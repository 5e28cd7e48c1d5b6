#include "sim/report/Recorder.h"

#include "sim/invariants/BsmPeek.h"

namespace Routing::Sim {

Recorder::Recorder(World& world, Beliefs& beliefs)
    : world_(world), beliefs_(beliefs), known_(world.liveness()) {
  world.observerIs(*this);
  beliefs.listenerIs([this](RouterId router, AddressFamily af, const Belief& before) {
    changed(router, af, before);
  });
}

void Recorder::keepMessage(const Packet& packet, RouterId to, double arrived) {
  if (packet.is(Pim::PimType::hello) || messages_.size() >= mostMessages) return;
  char kind = 'C';
  std::string about = packet.destination.text();
  if (const auto bsm = peekBsm(*packet.payload, true)) {
    kind = bsm->forward ? 'B' : 'N';
    about = bsm->bsr.text();
  }
  messages_.push_back({packet.sentAt, arrived, packet.sender, to, packet.network, kind, about});
}

void Recorder::delivering(const Packet& packet, RouterId to) {
  keepMessage(packet, to, world_.now());
}

void Recorder::lost(const Packet& packet, RouterId to, std::string_view) {
  keepMessage(packet, to, packet.sentAt - 1.0);
}

void Recorder::changed(RouterId router, AddressFamily af, const Belief& before) {
  const Belief& now = beliefs_.of(router, af);
  for (const ZoneBelief& is : now.zones) {
    const ZoneBelief* was = before.zone(is.zone);
    if (was != nullptr && *was == is) continue;
    changes_.push_back({world_.now(), router, af, is});
    keepSet(router, af, is);
  }
  for (const ZoneBelief& was : before.zones) {
    if (now.zone(was.zone) != nullptr) continue;
    ZoneBelief gone;
    gone.zone = was.zone;
    changes_.push_back({world_.now(), router, af, gone});
  }
}

void Recorder::keepSet(RouterId router, AddressFamily af, const ZoneBelief& belief) {
  if (belief.rps == 0 || sets_.contains(belief.rpDigest)) return;
  auto& kept = sets_[belief.rpDigest];
  const auto& zone = world_.speaker(router, af).status()->crpStatus(belief.zone);
  if (!zone || !zone->status()) return;
  for (const auto& [range, set] : zone->status()->crpSet()) {
    for (const auto& [address, rp] : set->rp()) {
      kept.push_back({range.text(), address.text(), rp->priority().value(),
                      rp->mode() == Pim::PimMode::bidirectional});
    }
  }
}

void Recorder::settled(const std::vector<RouterId>&) {
  const Liveness& now = world_.liveness();
  if (known_.router != now.router) {
    for (RouterId id = 0; id < now.router.size(); ++id) {
      if (known_.router[id] != now.router[id]) {
        switches_.push_back({world_.now(), true, id, now.router[id]});
      }
    }
  }
  if (known_.network != now.network) {
    for (NetworkId id = 0; id < now.network.size(); ++id) {
      if (known_.network[id] != now.network[id]) {
        switches_.push_back({world_.now(), false, id, now.network[id]});
      }
    }
  }
  known_ = now;
}

}  // namespace Routing::Sim
