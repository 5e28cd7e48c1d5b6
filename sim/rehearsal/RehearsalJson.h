#pragma once

#include <string>
#include <vector>

#include "sim/rehearsal/Rehearsal.h"

namespace Routing::Sim {

/// The verdict, and for every run tables of ranges, elections and drops.
std::string rehearsalJson(const Topology& topology, const std::vector<RehearsalOutcome>& outcomes);

}  // namespace Routing::Sim
