#include "sim/replay/ReplayRouter.h"

#include <variant>

#include "platform/pim/PimCodec.h"

namespace Routing::Sim {
namespace {

const VrfName replayVrf{std::string(VrfName::defaultName)};
const IntfId link("link");

/// Nobody's: of the block for documentation, and of the link alone.
IpGenAddr ownAddress(AddressFamily af) {
  return af == AddressFamily::ipv4 ? IpGenAddr::v4(0xc63364fe)  // 198.51.100.254
                                   : IpGenAddr::v6(std::uint64_t{0xfe80} << 48, 0x5059);
}

}  // namespace

ReplayRouter::ReplayRouter(AddressFamily af, TimerWheel& wheel)
    : pim_(replayVrf, af, *this, *this, wheel, [] { return 0.5; }), bsr_(inputs(wheel)) {
  pim_.intfIs(link, ownAddress(af), {}, true);
}

Pim::Bsr::BsrInputs ReplayRouter::inputs(TimerWheel& wheel) const {
  const AddressFamily af = pim_.af();
  const auto interfaces = std::make_shared<Pim::AllIntfStatusDir>();
  const auto status = interfaces->newIntfStatus(link);
  status->upIs(true);
  status->mtuIs(1500);
  Pim::Bsr::BsrInputs inputs{Pim::Bsr::newStatus(replayVrf, af),
                             pim_.pimStatus(),
                             pim_.pamManager(),
                             std::make_shared<Pim::PimUcastRouteStatus>(af),
                             interfaces,
                             std::make_shared<Pim::RpCandidateStatus>(replayVrf),
                             std::make_shared<Pim::Bsr::PimBsrLimits>(),
                             &wheel};
  inputs.status->bsTimeoutIs(Pim::Bsr::Config::holdTimeDefault);
  inputs.status->szTimeoutIs(Pim::Bsr::Config::szTimeoutDefault);
  inputs.policy = Pim::Bsr::BsrPolicy::continuous();
  inputs.random = [] { return 0.5; };
  return inputs;
}

std::vector<Pim::NextHop> ReplayRouter::nextHops(const IpGenAddr& address) const {
  const auto way = wayTo_.find(address);
  if (way == wayTo_.end()) return {};
  return {{link, way->second}};
}

void ReplayRouter::hear(const Pim::IpPayload& packet) {
  ++heard_;
  learn(packet);
  pim_.receive({link, packet.source, packet.destination, packet.octets});
}

void ReplayRouter::learn(const Pim::IpPayload& packet) {
  const auto decoded = Pim::decode(packet.octets, packet.source, packet.destination);
  const auto* bsm = std::get_if<std::shared_ptr<Pim::BootstrapMessage>>(&decoded);
  if (bsm == nullptr) return;
  wayTo_.try_emplace((*bsm)->bsrAddress(), packet.source);
  const auto& intf = pim_.pimStatus()->pimIntf(link);
  if (!intf->neighbor(packet.source)) greet(packet.source);
}

void ReplayRouter::greet(const IpGenAddr& neighbor) {
  Pim::HelloMessage hello;
  hello.holdtimeIs(0xffff);  // as long as the capture is
  const IpGenAddr everybody = Pim::allPimRouters(pim_.af());
  std::vector<std::uint8_t> octets;
  if (Pim::encode(hello, neighbor, everybody, octets)) {
    pim_.receive({link, neighbor, everybody, octets});
  }
}

}  // namespace Routing::Sim
