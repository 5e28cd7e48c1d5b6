#pragma once

#include "bsr/types/Status.h"

/// Rules about zones that intake and engine share.
namespace Routing::Pim::Bsr {

/// True if the interface is a BSR border for the zone: it is listed by the zone's own border entry,
/// or by that of the whole multicast range, which stands for all groups. Other containment does not
/// count (RFC 5059 section 3.4).
ROUTING_API bool isBorder(const Status& status, const IpGenPrefix& zone, const IntfId& intf);

}  // namespace Routing::Pim::Bsr
