#pragma once

#include "platform/net/IpGenPrefix.h"
#include "sim/core/Random.h"
#include "sim/core/Speaker.h"

namespace Routing::Sim {

/// The RP of a group by what PIM knows on a router; unset if there is none.
IpGenAddr rpOf(const Speaker& speaker, const IpGenAddr& group);

/// A group of a range, at random.
IpGenAddr groupWithin(const IpGenPrefix& range, Random& random);

}  // namespace Routing::Sim
