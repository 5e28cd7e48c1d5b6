#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <vector>

#include "sim/cli/Options.h"

namespace Routing::Sim {

/// What comes of one run.
struct RunResult {
  std::uint64_t seed = 0;
  bool passed = false;
  bool died = false;  ///< the run ended its process; nothing more is known of it
  std::uint64_t digest = 0;
  std::uint32_t judged = 0;     ///< expectations
  std::uint32_t skipped = 0;    ///< expectations that were not judged
  std::vector<double> figures;  ///< what else the command wants to know
};

/// Calls `run` with every seed of the options, in as many processes as they ask for, and copies
/// what it writes to standard output. Returns the results in the order of the seeds. After a run
/// that died the process's other seeds are run by another.
std::vector<RunResult> eachSeed(
    const Options& options,
    const std::function<RunResult(std::uint64_t seed, std::ostream& out)>& run);

}  // namespace Routing::Sim
