#pragma once

#include "bsr/types/Status.h"
#include "sim/core/RouterConfig.h"
#include "sim/core/Topology.h"

namespace Routing::Sim {

/// Makes the configured half of a status equal to the configuration: what is new comes, what is
/// gone goes, what stays is rewritten in place. `loopback` stands in for unset addresses.
void statusIs(Pim::Bsr::Status& status, const RouterConfig& config, const Topology& topology,
              const IpGenAddr& loopback);

}  // namespace Routing::Sim
