#include "bsr/types/ZoneRules.h"

namespace Routing::Pim::Bsr {

bool isBorder(const Status& status, const IpGenPrefix& zone, const IntfId& intf) {
  const auto listed = [&](const IpGenPrefix& prefix) {
    const auto& border = status.bsBorder(prefix);
    return border && border->intfId(intf);
  };
  return listed(zone) || listed(IpGenPrefix::multicast(zone.af()));
}

}  // namespace Routing::Pim::Bsr
