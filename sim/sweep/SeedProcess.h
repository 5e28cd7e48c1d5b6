#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "sim/sweep/RunResult.h"
#include "sim/sweep/SeedBlock.h"

namespace Routing::Sim {

/// Runs the seeds of a block in a process of their own. A run that dies takes that process with it,
/// but no other run: the seeds behind it are run by another one.
class SeedProcess {
 public:
  /// `run` must outlive this.
  SeedProcess(SeedBlock block, const Run& run);
  SeedProcess(const SeedProcess&) = delete;
  SeedProcess& operator=(const SeedProcess&) = delete;
  /// Ends the process if it still runs.
  ~SeedProcess();

  /// To be polled: readable when there is something to listen to.
  int fd() const { return fd_; }
  /// Reads what there is, and waits for it if there is nothing. Adds the runs that have ended to
  /// `results`, in the order of their seeds. False once all are known.
  bool listen(std::vector<RunResult>& results);

 private:
  void launch();
  void end();
  void tellResults(int to) const;

  const Run& run_;
  SeedBlock left_;  // of which the results are not yet known
  pid_t pid_ = -1;
  int fd_ = -1;
  std::string unread_;
};

}  // namespace Routing::Sim
