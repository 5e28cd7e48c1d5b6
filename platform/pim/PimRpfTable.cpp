#include "platform/pim/PimRpfTable.h"

namespace Routing::Pim {

std::optional<RpfNeighbor> PimRpfTable::doLookup(const IpGenAddr& address) const {
  std::optional<RpfNeighbor> best;
  for (const NextHop& hop : routing_.nextHops(address)) {
    const auto& intf = pimStatus_->pimIntf(hop.intf);
    if (!intf) continue;
    const IpGenAddr& nextAddress = hop.gateway.isUnset() ? address : hop.gateway;
    const auto neighbor = intf->neighborOf(nextAddress);
    if (!neighbor) continue;
    if (!best || best->address < neighbor->address()) {
      best = RpfNeighbor{neighbor->address(), hop.intf};
    }
  }
  return best;
}

}  // namespace Routing::Pim
