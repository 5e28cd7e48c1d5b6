#pragma once

#include <memory>

#include "agent/control/Show.h"
#include "bsr/engine/ZoneSm.h"

namespace Routing::Agent {

/// The machine of a zone, the candidate's or the follower's; null if there is none.
std::shared_ptr<const Pim::Bsr::ZoneSm> zoneMachine(const ShowInput& in, const IpGenPrefix& zone);

}  // namespace Routing::Agent
