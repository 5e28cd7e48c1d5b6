#include "sim/core/ZoneParts.h"

namespace Routing::Sim {

std::vector<std::uint32_t> partsOf(const World& world, const IpGenPrefix& zone) {
  return world.parts([&](RouterId router, NetworkId network) {
    const std::string& intf = world.topology().network(network).intfOf(router).text();
    return world.speaker(router, zone.af()).duties().passes(intf, zone);
  });
}

}  // namespace Routing::Sim
