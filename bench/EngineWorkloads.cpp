#include <memory>

#include "bench/Baselines.h"
#include "bench/BenchHost.h"
#include "bench/Workloads.h"

namespace Routing::Bench {
namespace {

using Pim::Bsr::BenchHost;

/// A router that has had a message, and the message of a BSR that it does not prefer.
struct Router {
  Router(std::uint32_t ranges, std::uint8_t rps)
      : octets(Pim::Bsr::bootstrapMessage(ranges, rps)), worse(worseOf(ranges, rps)) {
    receive(host, octets);
  }
  static std::vector<std::uint8_t> worseOf(std::uint32_t ranges, std::uint8_t rps) {
    auto bsm = Pim::Bsr::bootstrapMessageOf(AddressFamily::ipv4, ranges, rps);
    bsm.bsrAddressIs(IpGenAddr::v4(0x0a010101));
    bsm.bsrPriorityIs(1);
    return Pim::Bsr::octetsOf(bsm);
  }

  BenchHost host;
  std::vector<std::uint8_t> octets;
  std::vector<std::uint8_t> worse;
};

void append(std::vector<Workload>& made, std::uint32_t ranges, std::uint8_t rps) {
  const auto router = std::make_shared<Router>(ranges, rps);
  const std::string size = std::to_string(ranges) + " x " + std::to_string(rps) + " RPs";
  const auto sum = [router](std::uint64_t turns) {
    while (turns-- > 0) keep(sumOfOctets(router->octets));
  };
  const auto refresh = [router](std::uint64_t turns) {
    for (; turns > 0; --turns) {
      router->host.clock.nowIs(router->host.clock.now() + 0.001);
      receive(router->host, router->octets);
    }
  };
  const auto refuse = [router](std::uint64_t turns) {
    while (turns-- > 0) receive(router->host, router->worse);
  };
  const std::string checksum = "the checksum of its octets";
  made.push_back({"octets to refreshed RP set and out", size, refresh, checksum, sum});
  made.push_back({"refuse the message of a worse BSR", size, refuse, checksum, sum});
}

}  // namespace

std::vector<Workload> engineWorkloads(Sizes sizes) {
  struct Shape {
    std::uint32_t ranges;
    std::uint8_t rps;
  };
  std::vector<Workload> made;
  for (const Shape& shape : chosen<Shape>(sizes, {{66, 1}, {12, 11}, {1, 100}})) {
    append(made, shape.ranges, shape.rps);
  }
  return made;
}

}  // namespace Routing::Bench
