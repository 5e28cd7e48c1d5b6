#pragma once

#include "sim/invariants/Invariant.h"

namespace Routing::Sim {

/// The rules about what routers send and take in.
void addMessageRules(World& world, std::vector<Violation>& violations, Invariants& rules);

}  // namespace Routing::Sim
