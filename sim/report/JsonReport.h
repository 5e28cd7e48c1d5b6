#pragma once

#include <string>

#include "sim/report/Timeline.h"
#include "sim/scenario/ScenarioRun.h"

namespace Routing::Sim {

/// All that the text report says, for programs.
std::string jsonReport(ScenarioRun& run, const Timeline& timeline);

}  // namespace Routing::Sim
