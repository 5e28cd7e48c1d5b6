#pragma once

#include <string>
#include <string_view>

#include "sim/report/Recorder.h"
#include "sim/report/Timeline.h"
#include "sim/scenario/ScenarioRun.h"

namespace Routing::Sim {

/// A page that shows the run: it needs nothing but a browser.
std::string htmlReport(const ScenarioRun& run, const Timeline& timeline, const Recorder& recorder);

/// The page without its data, which replaces the word "@DATA@" (sim/report/page.html).
extern const std::string_view htmlPage;

}  // namespace Routing::Sim
