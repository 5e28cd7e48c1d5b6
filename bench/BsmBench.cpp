// A Bootstrap message on its whole way: octets, decoder, intake, engine, RP set, PIM's view, and
// out again on one more interface. With 100 RPs, and as one of many zones.

#include <benchmark/benchmark.h>

#include "bench/BenchHost.h"

namespace Routing::Pim::Bsr {
namespace {

constexpr std::uint8_t rps = 100;

// The periodic message: every RP is known and only its expiry changes.
void refreshRpSet(benchmark::State& state) {
  BenchHost host;
  const auto octets = bootstrapMessage(1, rps);
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
  BenchHost host;
  const auto octets = bootstrapMessage(1, rps);
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

/// A router that follows so many scoped zones, and their messages.
struct Zones {
  explicit Zones(std::uint32_t count) {
    for (std::uint32_t zone = 0; zone < count; ++zone) {
      octets.push_back(messageOf(zone));
      receive(host, octets.back());
    }
  }
  static std::vector<std::uint8_t> messageOf(std::uint32_t zone) {
    auto bsm = bootstrapMessageOf(AddressFamily::ipv4, 0, 0);
    BootstrapGroupData range(IpGenPrefix(IpGenAddr::v4(0xef000000 + (zone << 8)), 24),
                             BootstrapGroupData::zoneFlag);
    range.rpList().rpIs(IpGenAddr::v4(0xc0000300), {150, 192});
    range.rpCountIs(1);
    range.fragRpCountIs(1);
    bsm.groupRpDataAppend(std::move(range));
    return octetsOf(bsm);
  }

  BenchHost host;
  std::vector<std::vector<std::uint8_t>> octets;
};

// Those of all zones in turn.
void refreshZones(benchmark::State& state) {
  Zones zones(static_cast<std::uint32_t>(state.range(0)));
  std::size_t next = 0;
  for (auto _ : state) {
    zones.host.clock.nowIs(zones.host.clock.now() + 0.01);
    receive(zones.host, zones.octets[next]);
    next = (next + 1) % zones.octets.size();
  }
  if (zones.host.bsr->inputs().rpCandidateStatus->crpSet().size() != zones.octets.size()) {
    state.SkipWithError("not installed");
  }
}
BENCHMARK(refreshZones)->RangeMultiplier(4)->Range(1, 1024);

// What all zones do about an interface that goes and comes, and about its neighbour.
void interfaceGoesAndComes(benchmark::State& state) {
  Zones zones(static_cast<std::uint32_t>(state.range(0)));
  const auto intf = zones.host.pimStatus->pimIntf(out);
  const IpGenAddr peer = intf->neighbor().begin()->first;
  for (auto _ : state) {
    intf->neighborDel(peer);
    intf->upIs(false);
    intf->upIs(true);
    intf->newNeighbor(peer);
  }
  state.counters["octets sent"] = static_cast<double>(zones.host.sentOctets);
}
BENCHMARK(interfaceGoesAndComes)->RangeMultiplier(4)->Range(1, 1024);

}  // namespace
}  // namespace Routing::Pim::Bsr

BENCHMARK_MAIN();
