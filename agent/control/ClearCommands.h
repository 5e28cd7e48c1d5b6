#pragma once

#include <nlohmann/json_fwd.hpp>

#include "agent/control/ControlCommands.h"

namespace Routing::Agent {

/// Has an instance forget what the topic says: "counters", "neighbor", "bsr" or "rp"; says how many
/// things that were. Raises RequestError for what makes no sense.
nlohmann::json clear(const ControlTarget& target, const ControlRequest& request);

}  // namespace Routing::Agent
