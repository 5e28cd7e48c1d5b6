// A Bootstrap message with 100 RPs on its whole way: octets, decoder, intake, engine, RP set, PIM's
// view, and out again on one more interface.

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

}  // namespace
}  // namespace Routing::Pim::Bsr

BENCHMARK_MAIN();
