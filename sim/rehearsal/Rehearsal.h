#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sim/report/Recorder.h"
#include "sim/report/Timeline.h"
#include "sim/scenario/Scenario.h"
#include "sim/scenario/ScenarioRun.h"

namespace Routing::Sim {

/// A change of configuration that is to be tried.
struct RehearsalPlan {
  Scenario network;                               ///< with what is configured before
  std::map<RouterId, Agent::DaemonConfig> after;  ///< of every router
  /// Routers that load their new files at once, one group after the other. Those whose files mean
  /// what they meant have nothing to load.
  std::vector<std::vector<RouterId>> steps;
  double pause = 60.0;  ///< seconds from one step to the next
  std::uint64_t seed = 1;
};

/// What became of a range of groups, over all groups of it that were sampled, since the change.
struct RangeOutcome {
  IpGenPrefix range;
  std::set<IpGenAddr> before;          ///< the RPs that routers chose
  std::set<IpGenAddr> after;           ///< at the end
  std::set<RouterId> candidates;       ///< who is up and stands for it in the end
  std::map<RouterId, double> without;  ///< longest time, in seconds, that routers which had an RP
                                       ///< were without: until they had one again, or for good
  std::set<RouterId> lost;       ///< who has none in the end, though a candidate stands for it
  std::set<RouterId> withdrawn;  ///< who has none in the end, as nobody stands for it any more
  double disagreement = 0.0;     ///< longest time, in seconds, that routers chose differently

  bool broken() const { return !without.empty(); }
  bool noticed() const {
    return broken() || before != after || !withdrawn.empty() || disagreement > 0.0;
  }
};

/// Messages that routers dropped since the change, for one reason.
struct DropOutcome {
  std::string reason;
  std::map<RouterId, std::uint64_t> counts;
  std::set<RouterId> fresh;  ///< who had dropped none for this reason before
};

/// One run of the change.
struct RehearsalOutcome {
  std::optional<RouterId> dead;  ///< the router that is not there
  double began = 0.0;            ///< when the first file is loaded; seconds since the start
  double ended = 0.0;
  std::vector<RangeOutcome> ranges;
  std::vector<Happening> elections;  ///< and whom routers took for the BSR
  std::vector<DropOutcome> drops;
  std::vector<Violation> faults;  ///< standing invariants that broke, which ends the run

  bool bad() const;
};

/// Plays the change once, without the router that is dead, if one is: the network comes up with
/// what is configured before, rests, loads the new files step by step, and rests again. `page` gets
/// a page that shows the run, if given.
RehearsalOutcome rehearse(const RehearsalPlan& plan, std::optional<RouterId> dead,
                          std::string* page = nullptr);

}  // namespace Routing::Sim
