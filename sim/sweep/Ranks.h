#pragma once

#include <vector>

#include "sim/sweep/RunResult.h"
#include "sim/sweep/SeedBlock.h"

namespace Routing::Sim {

/// The ranks of a program that mpirun has started: the same command on all of them, which share the
/// runs of every sweep. All is computed everywhere, but only the first rank shows it. Without
/// mpirun, or built without MPI, there is one.
class Ranks {
 public:
  Ranks();
  Ranks(const Ranks&) = delete;
  Ranks& operator=(const Ranks&) = delete;
  ~Ranks();  // NOLINT(performance-trivially-destructible): not where there is an MPI

  static unsigned count();
  static bool isFirst();

  /// Ends the ranks' work together; to be called last. Returns the exit code: `code` on the first
  /// rank, 0 on the others. If a rank has died, the first ends the others and its own process.
  static int leave(int code);
};

/// Shares the runs among all ranks: each takes blocks of seeds from the queue of the first, which
/// works as well. A block whose rank does not answer is given to another one when the queue is
/// empty, so that no seed is lost with a rank.
///
///   rank                          first rank
///   ready(sweep) ---------------> a block of the queue; or else the one that has been given out
///   least results(sweep, block) ------> whoever is first counts: equal seeds have equal results
///                <--------------- no block: the sweep is over, whatever you are doing
///
/// Returns the results on the first rank, nothing on the others.
std::vector<RunResult> eachSeedOfRanks(const SeedBlock& seeds, const Run& run);

}  // namespace Routing::Sim
