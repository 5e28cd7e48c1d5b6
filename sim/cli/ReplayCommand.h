#pragma once

#include "sim/cli/Options.h"

namespace Routing::Sim {

/// Replays captures into routers of their own and says what these know at the end. Returns 1 if
/// there was something that they did not take.
int replayCommand(const Options& options);

}  // namespace Routing::Sim
