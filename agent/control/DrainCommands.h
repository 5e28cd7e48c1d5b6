#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "agent/control/ControlCommands.h"

namespace Routing::Agent {

/// Takes the candidacies of a topic from this router ("bsr", "rp", "all"), or none ("status"), and
/// says what has come of it so far. Raises RequestError for another topic.
nlohmann::json drain(const ControlTarget& target, const std::string& topic);
/// Gives all of them back.
nlohmann::json undrain(const ControlTarget& target);

}  // namespace Routing::Agent
