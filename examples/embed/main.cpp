// A complete host of the library: one router with one interface, candidate BSR and candidate RP by
// configuration, in virtual time. See docs/embedding.md.

#include <iostream>
#include <memory>
#include <vector>

#include "bsr/host/BsrInstance.h"
#include "platform/pim/PimInstance.h"
#include "platform/pim/rp/RpSelection.h"

using namespace Routing;

namespace {

const VrfName vrf{std::string(VrfName::defaultName)};
const IntfId eth0("eth0");
const IpGenAddr ownAddress = IpGenAddr::v4(0x0a000001);  // 10.0.0.1

/// The way out: a link on which nobody else is. A real one sends the payload from a raw socket, and
/// its event loop hands what comes in to PimInstance::receive.
class Link final : public Pim::PacketPort {
 public:
  bool send(const Pim::TransmitPacket&) override { return true; }
};

/// Next hops: every address is on the link.
class Routes final : public Pim::UnicastRouting {
 public:
  std::vector<Pim::NextHop> nextHops(const IpGenAddr& address) const override {
    if (address == ownAddress) return {};
    return {{eth0, IpGenAddr()}};
  }
};

/// What the operator would have configured: candidate BSR and candidate RP for all groups.
std::shared_ptr<Pim::Bsr::Config> candidates() {
  const IpGenPrefix allGroups = IpGenPrefix::multicast(AddressFamily::ipv4);
  auto config = std::make_shared<Pim::Bsr::Config>(vrf);
  const auto zone = config->newBsrCandidateConfig(eth0)->newGroup(allGroups);
  zone->priorityIs(Pim::Bsr::BsrCandidateDefaults::priorityDefault);
  zone->hashMaskLenIs(Pim::Bsr::BsrCandidateDefaults::hashMaskLenDefault);
  const auto rp = config->newRpCandidateConfig(eth0);
  rp->groupRangeIs(allGroups, true);
  rp->newGroupRangeOptions(allGroups)->priorityIs(Pim::RpPriority(192));
  return config;
}

/// What the library is given: its own entities, empty, and what the host knows.
Pim::Bsr::BsrInputs inputs(const Pim::PimInstance& pim, TimerWheel& wheel) {
  Pim::Bsr::BsrInputs in;
  in.status = std::make_shared<Pim::Bsr::Status>(vrf);
  in.status->afIs(AddressFamily::ipv4);
  in.status->countersIs("counters");
  in.pimStatus = pim.pimStatus();
  in.pamManager = pim.pamManager();
  in.rpCandidateStatus = std::make_shared<Pim::RpCandidateStatus>(vrf);
  in.limits = std::make_shared<Pim::Bsr::PimBsrLimits>();
  in.timerWheel = &wheel;
  in.policy = Pim::Bsr::BsrPolicy::continuous();

  // Which addresses are the router's own: what it sends there never reaches the port.
  auto routes = std::make_shared<Pim::PimUcastRouteStatus>(AddressFamily::ipv4);
  routes->routeIs(IpGenPrefix::host(ownAddress), {Pim::ForwardingKind::local});
  in.ucastRouteStatus = routes;
  auto interfaces = std::make_shared<Pim::AllIntfStatusDir>();
  interfaces->newIntfStatus(eth0)->upIs(true);
  interfaces->newIntfStatus(eth0)->mtuIs(1500);
  in.allIntfStatusDir = interfaces;

  in.config = candidates();
  in.vrfIntfConfig = std::make_shared<Pim::Bsr::VrfIntfConfig>("default");
  in.clearConfig = std::make_shared<Pim::Bsr::ClearConfig>(vrf);
  in.ipAclConfig = std::make_shared<IpAclConfig>(AddressFamily::ipv4);
  auto addresses = std::make_shared<SourceIntfSm>(vrf);
  addresses->addressIs(eth0, ownAddress);
  addresses->initialDumpDoneIs(true);
  in.sourceIntfSm = addresses;
  return in;
}

void show(const Pim::Bsr::BsrInputs& router) {
  const auto& bsr = router.status->bootstrapRouter(IpGenPrefix::multicast(AddressFamily::ipv4));
  std::cout << "BSR: " << (bsr ? bsr->ipAddr().text() : "none") << '\n';
  std::vector<Pim::RpMapping> mappings;
  for (const auto& [range, set] : router.rpCandidateStatus->crpSet()) {
    for (const auto& [address, rp] : set->rp()) {
      mappings.push_back({range, address, static_cast<std::uint8_t>(rp->mode()),
                          rp->priority().value(), rp->hashMaskLen().value()});
    }
  }
  const auto choice = Pim::selectRp(IpGenAddr::v4(0xef010203), mappings);
  std::cout << "RP of 239.1.2.3: " << (choice.rp ? choice.rp->rp.text() : "none") << '\n';
}

}  // namespace

int main() {
  VirtualClock clock;
  TimerWheel wheel(clock);
  Link link;
  const Routes routes;
  Pim::PimInstance pim(vrf, AddressFamily::ipv4, routes, link, wheel, [] { return 0.5; });
  pim.intfIs(eth0, ownAddress, {}, true);
  const Pim::Bsr::BsrInstance bsr(inputs(pim, wheel));

  // The event loop. A real one sleeps until the wheel's next expiry, or until a packet is there.
  while (wheel.nextExpiry() < 300.0) {
    clock.nowIs(wheel.nextExpiry());
    wheel.fireDue();
  }
  show(bsr.inputs());
  return bsr.inputs().rpCandidateStatus->crpSet().empty() ? 1 : 0;
}
