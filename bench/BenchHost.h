// A router with two interfaces, and the Bootstrap messages that it receives.

#pragma once

#include <memory>
#include <vector>

#include "bsr/host/BsrInstance.h"
#include "platform/pim/PimCodec.h"

namespace Routing::Pim::Bsr {

inline const IntfId in("in");
inline const IntfId out("out");
inline const IpGenAddr neighbor = IpGenAddr::v4(0x0a000002);
inline const IpGenAddr bsrAddress = IpGenAddr::v4(0xc0000201);

class BenchHost final : public PacketPort, public UnicastRouting {
 public:
  BenchHost() {
    interfaceIs(*pimStatus, in, 0x0a000001, neighbor);
    interfaceIs(*pimStatus, out, 0x0a000101, IpGenAddr::v4(0x0a000102));
    BsrInputs inputs;
    inputs.status = std::make_shared<Status>(vrf);
    inputs.status->afIs(AddressFamily::ipv4);
    inputs.status->bsTimeoutIs(130);
    inputs.status->countersIs("counters");
    inputs.pimStatus = pimStatus;
    inputs.pamManager = std::make_shared<PamManager>(
        AddressFamily::ipv4, pimStatus, std::make_shared<PimRpfTable>(*this, pimStatus), *this);
    inputs.ucastRouteStatus = std::make_shared<PimUcastRouteStatus>(AddressFamily::ipv4);
    inputs.allIntfStatusDir = interfaces_;
    inputs.rpCandidateStatus = std::make_shared<RpCandidateStatus>(vrf);
    inputs.limits = std::make_shared<PimBsrLimits>();
    inputs.timerWheel = &wheel;
    bsr = std::make_unique<BsrInstance>(inputs);
  }

  bool send(const TransmitPacket& packet) override {
    sentOctets += packet.payload.size();
    return true;
  }
  std::vector<NextHop> nextHops(const IpGenAddr&) const override { return {{in, neighbor}}; }
  void nextHopsInto(const IpGenAddr&, std::vector<NextHop>& hops) const override {
    hops.assign(1, {in, neighbor});
  }

  const VrfName vrf{std::string(VrfName::defaultName)};
  VirtualClock clock;
  TimerWheel wheel{clock};
  std::shared_ptr<PimStatus> pimStatus = std::make_shared<PimStatus>(vrf);
  std::size_t sentOctets = 0;
  std::unique_ptr<BsrInstance> bsr;

 private:
  void interfaceIs(PimStatus& status, const IntfId& intf, std::uint32_t address,
                   const IpGenAddr& peer) {
    const auto pimIntf = status.newPimIntf(intf);
    pimIntf->upIs(true);
    pimIntf->addressIs(IpGenAddr::v4(address));
    pimIntf->newNeighbor(peer);
    interfaces_->newIntfStatus(intf)->mtuIs(1500);
  }

  std::shared_ptr<AllIntfStatusDir> interfaces_ = std::make_shared<AllIntfStatusDir>();
};

/// A message with RPs of its own for each of so many ranges.
inline BootstrapMessage bootstrapMessageOf(AddressFamily af, std::uint32_t ranges,
                                           std::uint8_t rps) {
  const bool v4 = af == AddressFamily::ipv4;
  BootstrapMessage bsm;
  bsm.sourceIs(v4 ? neighbor : IpGenAddr::v6(std::uint64_t{0xfe80} << 48, 2));
  bsm.destinationIs(allPimRouters(af));
  bsm.bsrAddressIs(v4 ? bsrAddress : IpGenAddr::v6(0x20010db800000000, 1));
  bsm.bsrPriorityIs(64);
  bsm.hashMaskLenIs(30);
  for (std::uint32_t range = 0; range < ranges; ++range) {
    BootstrapGroupData group(
        ranges == 1 ? IpGenPrefix::multicast(af)
        : v4
            ? IpGenPrefix(IpGenAddr::v4(0xef000000 + (range << 16)), 16)
            : IpGenPrefix(IpGenAddr::v6(0xff08000000000000 + (std::uint64_t{range} << 16), 0), 48));
    for (std::uint32_t i = 0; i < rps; ++i) {
      group.rpList().rpIs(v4 ? IpGenAddr::v4(0xc0000300 + range * 256 + i)
                             : IpGenAddr::v6(0x20010db800000000, 0x300 + i),
                          {150, 192});
    }
    group.rpCountIs(rps);
    group.fragRpCountIs(rps);
    bsm.groupRpDataAppend(std::move(group));
  }
  return bsm;
}

inline std::vector<std::uint8_t> octetsOf(const BootstrapMessage& bsm) {
  std::vector<std::uint8_t> octets;
  if (!encode(bsm, octets)) octets.clear();
  return octets;
}

inline std::vector<std::uint8_t> bootstrapMessage(std::uint32_t ranges, std::uint8_t rps) {
  return octetsOf(bootstrapMessageOf(AddressFamily::ipv4, ranges, rps));
}

inline void receive(BenchHost& host, const std::vector<std::uint8_t>& octets) {
  host.bsr->inputs().pamManager->receive(
      {in, neighbor, allPimRouters(AddressFamily::ipv4), octets});
}

}  // namespace Routing::Pim::Bsr
