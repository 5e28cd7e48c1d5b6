#pragma once

#include <iosfwd>

#include "sim/report/Timeline.h"
#include "sim/scenario/ScenarioRun.h"

namespace Routing::Sim {

/// One line for each happening.
void writeTimeline(std::ostream& out, const Timeline& timeline);

/// Who is BSR of what and which RPs there are, as all see it or as groups of routers do; counters.
void writeTables(std::ostream& out, const ScenarioRun& run);

/// What did not hold; empty if all did.
void writeFailures(std::ostream& out, const ScenarioRun& run);

}  // namespace Routing::Sim
