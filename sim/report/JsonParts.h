#pragma once

#include <cmath>
#include <nlohmann/json.hpp>
#include <string_view>

#include "sim/report/Timeline.h"
#include "sim/scenario/ScenarioRun.h"

namespace Routing::Sim {

using Json = nlohmann::ordered_json;

/// Seconds, to a tenth of a millisecond: pages need no more.
inline double rounded(double seconds) {
  return std::round(seconds * 1e4) / 1e4;
}

/// Name, seed and outcome of a run.
Json runJson(const ScenarioRun& run);
/// What happened: at, kind, text, routers, last.
Json timelineJson(const Timeline& timeline);
std::string kindText(Happening::Kind kind);

/// A page with data in place of the word "@DATA@", written so that nothing in it looks like a tag.
std::string pageWith(std::string_view page, const Json& data);

}  // namespace Routing::Sim
