#pragma once

#include <string>

#include "sim/report/Recorder.h"
#include "sim/report/Timeline.h"
#include "sim/scenario/ScenarioRun.h"

namespace Routing::Sim {

/// A page that shows the run: it needs nothing but a browser.
std::string htmlReport(const ScenarioRun& run, const Timeline& timeline, const Recorder& recorder);

}  // namespace Routing::Sim
