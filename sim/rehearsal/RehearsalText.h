#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "sim/rehearsal/Rehearsal.h"

namespace Routing::Sim {

/// One line: what is wrong, by the worst of it, or that nothing is.
std::string verdictOf(const Topology& topology, const std::vector<RehearsalOutcome>& outcomes);

/// What the network noticed in each run.
void writeOutcomes(std::ostream& out, const Topology& topology,
                   const std::vector<RehearsalOutcome>& outcomes);

}  // namespace Routing::Sim
