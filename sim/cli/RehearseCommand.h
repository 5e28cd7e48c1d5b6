#pragma once

#include "sim/cli/Options.h"

namespace Routing::Sim {

/// Rehearses a change of configuration. Returns the exit code: 1 if routers lose their RP by it.
int rehearseCommand(const Options& options);

}  // namespace Routing::Sim
