#pragma once

#include <vector>

#include "sim/rehearsal/Rehearsal.h"
#include "sim/rehearsal/RpHistory.h"

namespace Routing::Sim {

/// What the history of a family says of its ranges, up to now.
void addRangeOutcomes(const World& world, const RpHistory& history,
                      std::vector<RangeOutcome>& outcomes);

}  // namespace Routing::Sim
