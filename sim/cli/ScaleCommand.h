#pragma once

#include "sim/cli/Options.h"

namespace Routing::Sim {

/// Runs a torus with one good and one poor candidate BSR and candidate RPs spread over it, and
/// reports what it cost. Returns 1 if the routers do not agree at the end.
int scaleCommand(const Options& options);

}  // namespace Routing::Sim
