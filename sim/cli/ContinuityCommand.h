#pragma once

#include "sim/cli/Options.h"

namespace Routing::Sim {

/// Runs every file with every seed and shows for how long routers were without BSR or RPs, or chose
/// different ones. Returns 1 if a run did not pass.
int continuityCommand(const Options& options);

}  // namespace Routing::Sim
