#include "sim/core/ZoneParts.h"

namespace Routing::Sim {

std::vector<std::uint32_t> partsOf(const World& world, const IpGenPrefix& zone) {
  const IpGenPrefix all = IpGenPrefix::multicast(zone.af());
  return world.parts([&](RouterId router, NetworkId network) {
    for (const BorderPlan& border : world.speaker(router, zone.af()).config().borders) {
      if (border.network == network && (border.zone == zone || border.zone == all)) return false;
    }
    return true;
  });
}

}  // namespace Routing::Sim
