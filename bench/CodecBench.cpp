// Decoding and encoding a full-size Bootstrap message, against copying its octets.

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "platform/pim/PimCodec.h"

namespace Routing::Pim {
namespace {

// One range with as many RPs as an Ethernet datagram holds.
BootstrapMessage fullSize(AddressFamily af) {
  const bool v4 = af == AddressFamily::ipv4;
  const auto address = [v4](std::uint32_t n) {
    return v4 ? IpGenAddr::v4(0x0a000000 + n) : IpGenAddr::v6(0x20010db800000000, n);
  };
  BootstrapMessage bsm;
  bsm.bsrAddressIs(address(1));
  bsm.bsrPriorityIs(64);
  bsm.hashMaskLenIs(v4 ? 30 : 126);
  BootstrapGroupData group(IpGenPrefix::multicast(af));
  const std::uint8_t rps = v4 ? 145 : 64;
  for (std::uint32_t i = 0; i < rps; ++i) group.rpList().rpIs(address(100 + i), {150, 192});
  group.rpCountIs(rps);
  group.fragRpCountIs(rps);
  bsm.groupRpDataAppend(std::move(group));
  bsm.sourceIs(v4 ? address(2) : IpGenAddr::v6(0xfe80000000000000, 2));
  bsm.destinationIs(allPimRouters(af));
  return bsm;
}

AddressFamily family(const benchmark::State& state) {
  return state.range(0) == 4 ? AddressFamily::ipv4 : AddressFamily::ipv6;
}

void copyOctets(benchmark::State& state) {
  std::vector<std::uint8_t> octets;
  if (!encode(fullSize(family(state)), octets)) state.SkipWithError("not encoded");
  std::vector<std::uint8_t> copy(octets.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), octets.data(), octets.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * octets.size()));
}
BENCHMARK(copyOctets)->Arg(4)->Arg(6);

void encodeBsm(benchmark::State& state) {
  const BootstrapMessage bsm = fullSize(family(state));
  std::vector<std::uint8_t> octets;
  for (auto _ : state) {
    if (!encode(bsm, octets)) state.SkipWithError("not encoded");
    benchmark::DoNotOptimize(octets.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * octets.size()));
}
BENCHMARK(encodeBsm)->Arg(4)->Arg(6);

void decodeBsm(benchmark::State& state) {
  const BootstrapMessage bsm = fullSize(family(state));
  std::vector<std::uint8_t> octets;
  if (!encode(bsm, octets)) state.SkipWithError("not encoded");
  for (auto _ : state) {
    auto result = decode(octets, bsm.source(), bsm.destination());
    if (result.index() != 0) state.SkipWithError("not decoded");
    benchmark::DoNotOptimize(result);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * octets.size()));
}
BENCHMARK(decodeBsm)->Arg(4)->Arg(6);

}  // namespace
}  // namespace Routing::Pim

BENCHMARK_MAIN();
