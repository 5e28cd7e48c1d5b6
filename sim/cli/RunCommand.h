#pragma once

#include "sim/cli/Options.h"

namespace Routing::Sim {

/// Runs every file with every seed. Returns 0 if all that was expected came true, else 1.
int runCommand(const Options& options);

}  // namespace Routing::Sim
