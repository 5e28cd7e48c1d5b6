#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/core/Beliefs.h"
#include "sim/core/RunDigest.h"
#include "sim/core/World.h"
#include "sim/invariants/StandingInvariants.h"
#include "sim/scenario/Control.h"
#include "sim/scenario/RandomFaults.h"
#include "sim/scenario/Scenario.h"

namespace Routing::Sim {

struct RunOptions {
  std::uint64_t seed = 1;
  bool faults = false;
  std::optional<double> until;  ///< ends the run early; what is expected later is not judged
  Promise::Broken promise = Promise::Broken::endsTheRun;
};

/// An expectation that was judged and did not hold.
struct Disappointment {
  double at;
  std::string expected;
  std::string found;
};

/// One run of a scenario, with all standing invariants. Observers may be added to the world and the
/// beliefs before run(). With faults, what is expected at a time is judged only if the network is
/// quiet then, and the run goes on after the scenario's end, without faults, until it is.
class ScenarioRun {
 public:
  ScenarioRun(const Scenario& scenario, const RunOptions& options);

  World& world() { return world_; }
  const World& world() const { return world_; }
  Beliefs& beliefs() { return beliefs_; }
  const Scenario& scenario() const { return scenario_; }
  const RunOptions& options() const { return options_; }

  void run();

  bool passed() const { return disappointments_.empty() && invariants_.violations().empty(); }
  const std::vector<Disappointment>& disappointments() const { return disappointments_; }
  const StandingInvariants& invariants() const { return invariants_; }
  unsigned judged() const { return judged_; }
  unsigned skipped() const { return skipped_; }
  /// Of all packets, and of all states at the end.
  std::uint64_t digest() const { return digest_.value(beliefs_); }

 private:
  void configure();
  void boot();
  void schedule();
  void judge(const Expectation& expectation);
  void comeToRest();

  const Scenario& scenario_;
  const RunOptions options_;
  World world_;
  Beliefs beliefs_;
  RunDigest digest_;
  StandingInvariants invariants_;
  Control control_;
  std::optional<RandomFaults> faults_;
  std::vector<Disappointment> disappointments_;
  unsigned judged_ = 0;
  unsigned skipped_ = 0;
};

}  // namespace Routing::Sim
