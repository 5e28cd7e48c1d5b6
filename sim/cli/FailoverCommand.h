#pragma once

#include "sim/cli/Options.h"

namespace Routing::Sim {

/// Runs a scenario with every seed and shows how long agreement on a BSR took after each crash of
/// an elected one, with the bound that must hold. Returns 1 if the bound or anything else did not
/// hold.
int failoverCommand(const Options& options);

}  // namespace Routing::Sim
