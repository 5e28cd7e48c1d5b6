#include "sim/scenario/RandomFaults.h"

#include <algorithm>

namespace Routing::Sim {
namespace {

constexpr double meanGap = 45.0;  // seconds between faults
constexpr double longestImpairment = 150.0;
constexpr double longestCut = 240.0;
constexpr double longestDeath = 300.0;

}  // namespace

RandomFaults::RandomFaults(Control& control, std::uint64_t seed, double until)
    : control_(control), random_(seed ^ 0xfa0175), until_(until) {
  schedule(random_.between(0.0, meanGap));
}

void RandomFaults::schedule(double at) {
  if (at >= until_) return;
  control_.world().at(at, [this, at] {
    strike();
    schedule(at + random_.between(1.0, 2 * meanGap));
  });
}

double RandomFaults::healing(double most) {
  const double now = control_.world().now();
  return std::min(now + random_.between(0.5, most), until_);
}

void RandomFaults::strike() {
  const std::uint64_t kind = random_.below(4);
  if (kind < 2) return impair();
  kind == 2 ? cut() : kill();
}

void RandomFaults::impair() {
  const auto network =
      static_cast<NetworkId>(random_.below(control_.world().topology().networks().size()));
  Impairment bad = control_.world().impairment(network);
  bad.jitter = random_.between(0.0, 0.05);
  bad.loss = random_.between(0.0, 0.4);
  bad.duplicate = random_.between(0.0, 0.3);
  bad.reorder = random_.between(0.0, 0.5);
  bad.reorderDelay = random_.between(0.0, 2.0);
  control_.faultImpairmentIs(network, bad);
  control_.world().at(healing(longestImpairment),
                      [this, network] { control_.faultImpairmentIs(network, std::nullopt); });
}

void RandomFaults::cut() {
  const auto network =
      static_cast<NetworkId>(random_.below(control_.world().topology().networks().size()));
  control_.faultNetworkIs(network, true);
  control_.world().at(healing(longestCut),
                      [this, network] { control_.faultNetworkIs(network, false); });
}

void RandomFaults::kill() {
  const auto router =
      static_cast<RouterId>(random_.below(control_.world().topology().routers().size()));
  const auto memory = random_.below(2) == 0 ? World::Memory::kept : World::Memory::lost;
  control_.faultRouterIs(router, true, memory);
  control_.world().at(healing(longestDeath),
                      [this, router, memory] { control_.faultRouterIs(router, false, memory); });
}

}  // namespace Routing::Sim
