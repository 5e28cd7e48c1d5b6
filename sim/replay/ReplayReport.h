#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "sim/replay/Replay.h"

namespace Routing::Sim {

/// What the routers hold at the end; docs/simulator.md names the members.
nlohmann::json replayJson(const Replay& replay);
/// The same for people.
std::string replayText(const nlohmann::json& report);
/// Whether nothing was dropped or refused.
bool allTaken(const nlohmann::json& report);

}  // namespace Routing::Sim
