#pragma once

#include <vector>

#include "sim/sweep/RunResult.h"
#include "sim/sweep/SeedBlock.h"

namespace Routing::Sim {

/// Calls `run` with every seed, in `jobs` processes of this machine, or in those of all ranks that
/// mpirun has started (Ranks.h). Prints what the runs write and returns their results, both in the
/// order of the seeds.
std::vector<RunResult> eachSeed(const SeedBlock& seeds, unsigned jobs, const Run& run);

}  // namespace Routing::Sim
