// A Bootstrap message with 100 RPs on its whole way: octets, decoder, intake, engine, RP set, PIM's
// view, and out again on one more interface.

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "bsr/host/BsrInstance.h"
#include "platform/pim/PimCodec.h"

namespace Routing::Pim::Bsr {
namespace {

constexpr std::uint8_t rps = 100;
const IntfId in("in");
const IntfId out("out");
const IpGenAddr neighbor = IpGenAddr::v4(0x0a000002);
const IpGenAddr bsrAddress = IpGenAddr::v4(0xc0000201);

class Host final : public PacketPort, public UnicastRouting {
 public:
  Host() {
    const VrfName vrf{std::string(VrfName::defaultName)};
    const auto pimStatus = std::make_shared<PimStatus>(vrf);
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

  VirtualClock clock;
  TimerWheel wheel{clock};
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

std::vector<std::uint8_t> message() {
  BootstrapMessage bsm;
  bsm.bsrAddressIs(bsrAddress);
  bsm.bsrPriorityIs(64);
  bsm.hashMaskLenIs(30);
  BootstrapGroupData group(IpGenPrefix::multicast(AddressFamily::ipv4));
  for (std::uint32_t i = 0; i < rps; ++i) {
    group.rpList().rpIs(IpGenAddr::v4(0xc0000300 + i), {150, 192});
  }
  group.rpCountIs(rps);
  group.fragRpCountIs(rps);
  bsm.groupRpDataAppend(std::move(group));
  std::vector<std::uint8_t> octets;
  if (!encode(bsm, neighbor, allPimRouters(AddressFamily::ipv4), octets)) octets.clear();
  return octets;
}

void receive(Host& host, const std::vector<std::uint8_t>& octets) {
  host.bsr->inputs().pamManager->receive(
      {in, neighbor, allPimRouters(AddressFamily::ipv4), octets});
}

// The periodic message: every RP is known and only its expiry changes.
void refreshRpSet(benchmark::State& state) {
  Host host;
  const auto octets = message();
  for (auto _ : state) {
    host.clock.nowIs(host.clock.now() + 60.0);
    receive(host, octets);
  }
  if (host.bsr->inputs().rpCandidateStatus->crpSet().empty()) state.SkipWithError("not installed");
  state.counters["RPs/s"] = benchmark::Counter(static_cast<double>(state.iterations() * rps),
                                               benchmark::Counter::kIsRate);
}
BENCHMARK(refreshRpSet);

// The first message of a BSR: everything is made, and in the end removed again.
void installRpSet(benchmark::State& state) {
  Host host;
  const auto octets = message();
  for (auto _ : state) {
    receive(host, octets);
    while (host.wheel.armed() > 0) {
      host.clock.nowIs(host.wheel.nextExpiry());
      host.wheel.fireDue();
    }
  }
  if (!host.bsr->inputs().rpCandidateStatus->crpSet().empty()) state.SkipWithError("not removed");
  state.counters["RPs/s"] = benchmark::Counter(static_cast<double>(state.iterations() * rps),
                                               benchmark::Counter::kIsRate);
}
BENCHMARK(installRpSet);

}  // namespace
}  // namespace Routing::Pim::Bsr

BENCHMARK_MAIN();
