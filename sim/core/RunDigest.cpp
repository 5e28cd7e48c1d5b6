#include "sim/core/RunDigest.h"

namespace Routing::Sim {

void RunDigest::transmitted(const Packet& packet) {
  packets_.add(packet.sentAt);
  packets_.add(std::uint64_t{packet.sender} << 32 | packet.network);
  packets_.add(packet.source);
  packets_.add(packet.destination);
  packets_.add(std::span(*packet.payload));
}

std::uint64_t RunDigest::value(const Beliefs& beliefs) const {
  Digest all = packets_;
  const World& world = beliefs.world();
  for (RouterId id = 0; id < world.topology().routers().size(); ++id) {
    for (const AddressFamily af : world.families()) {
      const Belief& belief = beliefs.of(id, af);
      for (const ZoneBelief& about : belief.zones) {
        all.add(about.zone);
        all.add(about.bsr);
        all.add(std::uint64_t{about.priority} << 32 | about.hashMaskLen);
        all.add(std::uint64_t{about.elected});
        all.add(about.rpDigest);
      }
      all.add(belief.viewDigest);
      for (const auto& [range, set] : world.speaker(id, af).view()->crpSet()) {
        for (const auto& [address, rp] : set->rp()) all.add(rp->expiryTime());
      }
    }
  }
  return all.value();
}

}  // namespace Routing::Sim
