#pragma once

#include "platform/pim/PimStatus.h"

namespace Routing::Pim {

/// The designated router among this router and its neighbours on an interface (RFC 7761
/// section 4.3.2): the highest priority wins, then the highest address; the priorities do not count
/// if a neighbour sent none. Unset while the interface is down or has no address.
ROUTING_API IpGenAddr electDr(const PimInterface& intf);

}  // namespace Routing::Pim
