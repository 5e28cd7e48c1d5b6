#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>

#include "sim/cli/Options.h"

namespace Routing::Sim {

/// Calls `run` with every seed of the options, in as many processes as they ask for, and copies
/// what it writes to standard output. A run that returns false, or dies, has failed. Returns how
/// many.
std::uint64_t eachSeed(const Options& options,
                       const std::function<bool(std::uint64_t seed, std::ostream& out)>& run);

}  // namespace Routing::Sim
