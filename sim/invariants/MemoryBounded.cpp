#include "sim/invariants/MemoryBounded.h"

namespace Routing::Sim {
namespace {

constexpr double interval = 10.0;                 // seconds
constexpr std::size_t packetsPerRouter = 10'000;  // on their way at once
constexpr std::size_t timersPerThing = 4;         // zone, range or RP that a router holds
constexpr std::size_t timersPerRouter = 200;      // neighbours, Hellos, candidacies, fragments

}  // namespace

void MemoryBounded::settled(const std::vector<RouterId>&) {
  if (world().now() - lookedAt_ < interval) return;
  lookedAt_ = world().now();
  const auto routers = static_cast<RouterId>(world().topology().routers().size());
  if (world().inFlight() > packetsPerRouter * routers) {
    violated(std::to_string(world().inFlight()) + " packets are under way");
  }
  std::size_t things = 0;
  for (RouterId id = 0; id < routers; ++id) {
    for (const AddressFamily af : world().families()) things += check(id, world().speaker(id, af));
  }
  if (world().wheel().armed() > timersPerThing * things + timersPerRouter * routers) {
    violated(std::to_string(world().wheel().armed()) + " timers are armed");
  }
}

std::size_t MemoryBounded::check(RouterId router, const Speaker& speaker) {
  const Pim::Bsr::PimBsrLimits& limits = *speaker.limits();
  std::size_t groups = 0;
  std::size_t rps = 0;
  for (const auto& [zone, rpSets] : speaker.status()->crpStatus()) {
    if (!rpSets->status()) continue;
    groups += rpSets->status()->crpSet().size();
    for (const auto& [range, set] : rpSets->status()->crpSet()) rps += set->rp().size();
  }
  const std::size_t zones = speaker.status()->bootstrapRouter().size();
  const std::size_t own = speaker.duties().zones.size() + 1;  // and the global zone
  if (groups > limits.maxGroups() || rps > limits.maxRps() || zones > limits.maxZones() + own) {
    violated(nameOf(router) + " holds " + std::to_string(zones) + " zones, " +
             std::to_string(groups) + " ranges and " + std::to_string(rps) + " RPs");
  }
  return zones + groups + rps;
}

}  // namespace Routing::Sim
