#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sim/core/Beliefs.h"
#include "sim/core/World.h"
#include "sim/scenario/Control.h"
#include "sim/scenario/RouterFile.h"

namespace Routing::Sim {

/// Something that the script does.
struct Action {
  double at = 0.0;
  std::function<void(Control&)> run;
  double spread = 0.0;  ///< seconds by which it happens later, at random
};

/// Something that must be true. `check` returns what is wrong, if anything.
struct Expectation {
  double at = 0.0;
  std::string text;
  std::function<std::optional<std::string>(const World&, const Beliefs&)> check;
};

/// A play: a network, what is configured, what happens, what must come of it.
struct Scenario {
  std::string name;
  std::string text;
  std::string file;  ///< where it comes from, for what is wrong with it
  Topology topology;
  std::vector<AddressFamily> families{AddressFamily::ipv4};
  double convergence = 0.2;
  Pim::Bsr::BsrPolicy policy = Pim::Bsr::BsrPolicy::continuous();
  double bootSpread = 1.0;  ///< routers start at random within these seconds
  double duration = 600.0;
  std::map<RouterId, Agent::DaemonConfig> configs;  ///< by default PIM runs everywhere
  std::vector<AddressEdit> addresses;               ///< that routers have beside their own
  std::vector<RouterId> late;                       ///< started by an action only
  std::vector<Action> actions;                      ///< in any order
  std::vector<Expectation> expectations;            ///< judged at their times
  std::vector<Expectation> finally;                 ///< judged at the end
  std::vector<RouterFile> files;  ///< what the script edits, by router; none: nothing
};

}  // namespace Routing::Sim
