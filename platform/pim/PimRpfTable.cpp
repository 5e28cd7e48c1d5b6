#include "platform/pim/PimRpfTable.h"

namespace Routing::Pim {

std::optional<RpfNeighbor> PimRpfTable::doLookup(const IpGenAddr& address) const {
  std::optional<RpfNeighbor> best;
  std::vector<NextHop> hops = std::exchange(hops_, {});  // the host may ask for another
  routing_.nextHopsInto(address, hops);
  for (const NextHop& hop : hops) {
    const auto& intf = pimStatus_->pimIntf(hop.intf);
    if (!intf) continue;
    const IpGenAddr& nextAddress = hop.gateway.isUnset() ? address : hop.gateway;
    const auto neighbor = intf->neighborOf(nextAddress);
    if (!neighbor) continue;
    if (!best || best->address < neighbor->address()) {
      best = RpfNeighbor{neighbor->address(), hop.intf};
    }
  }
  hops_ = std::move(hops);
  return best;
}

}  // namespace Routing::Pim
