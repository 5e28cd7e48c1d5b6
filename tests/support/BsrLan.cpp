#include "tests/support/BsrLan.h"

namespace Routing::TestKit {

LanRouter::LanRouter(BsrLan& lan, TimerWheel& wheel, std::string own, double random)
    : BsrRouter(addr(own).af(), wheel, random), address(std::move(own)), lan_(lan) {
  ucastRoutes->routeIs(IpGenPrefix::host(addr(address)), {Pim::ForwardingKind::local});
  mtuIs("eth0", 1500);
  intfIs("eth0", address);
}

bool LanRouter::send(const Pim::TransmitPacket& packet) {
  if (!PimRouter::send(packet)) return false;
  lan_.carry(*this, packet);
  return true;
}

LanRouter& BsrLan::add(const std::string& address, double random) {
  routers_.push_back(std::make_unique<LanRouter>(*this, wheel_, address, random));
  LanRouter& added = *routers_.back();
  for (const auto& other : routers_) {
    if (other.get() == &added) continue;
    other->routeIs(address, "eth0");
    added.routeIs(other->address, "eth0");
  }
  return added;
}

void BsrLan::carry(const LanRouter& sender, const Pim::TransmitPacket& packet) {
  flights_.push_back({&sender, packet.source, packet.destination,
                      Octets(packet.payload.begin(), packet.payload.end())});
  if (!arrivals_.armed()) arrivals_.expiryIs(wheel_.now());
}

void BsrLan::deliver() {
  for (const Flight& flight : std::exchange(flights_, {})) {
    const bool toAll = flight.destination.isMulticast();
    for (const auto& router : routers_) {
      if (router.get() == flight.sender || router->island != flight.sender->island) continue;
      if (!toAll && flight.destination != addr(router->address)) continue;
      const IntfId arrival(toAll ? "eth0" : "");
      router->pim.receive({arrival, flight.source, flight.destination, flight.payload});
    }
  }
}

}  // namespace Routing::TestKit
