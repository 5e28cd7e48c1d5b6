#pragma once

#include "sim/invariants/Invariant.h"

namespace Routing::Sim {

/// The rules about what routers hold.
void addStatusRules(World& world, std::vector<Violation>& violations, Invariants& rules);

}  // namespace Routing::Sim
