#include "sim/invariants/Quiet.h"

#include <algorithm>

namespace Routing::Sim {
namespace {

// Neighbours find each other again with the next Hello and its answer.
constexpr double helloRoundTrip = 40.0;
constexpr std::uint32_t defaultPeriod = 60;

}  // namespace

// A dead BSR is missed after the BS time-out, a few rounds of back-off follow, and the winner's
// message may wait for its period. A candidate RP that died is first aged out by the BSR, then,
// with the hold time that the BSR's last message gave it, by all others.
SettlingTimes settlingTimes(const World& world) {
  const Pace pace = world.pace();
  const std::uint32_t period = std::max(pace.bsrPeriod, defaultPeriod);
  const std::uint32_t timeout = std::max(pace.holdTime, 2 * period + 10);
  const double bsr = timeout + 3 * longestBackOff + period + helloRoundTrip;
  const double hold = 3.0 * std::max(period, pace.rpInterval);
  return {bsr, bsr + 2 * hold + period};
}

// A flood crosses each router once at the most.
double floodingTime(const World& world) {
  double slowest = 0;
  for (NetworkId id = 0; id < world.topology().networks().size(); ++id) {
    const Impairment& way = world.impairment(id);
    slowest = std::max(slowest, way.delay + way.jitter);
  }
  return slowest * static_cast<double>(world.topology().routers().size());
}

}  // namespace Routing::Sim
