#pragma once

#include <string>

#include "sim/scenario/Scenario.h"

namespace Routing::Sim {

/// Reads a scenario file (docs/simulator.md). Raises ScenarioError with file and line for anything
/// that is not understood: nothing is skipped.
Scenario readScenario(const std::string& file);

/// The same from text; `name` stands for the file in errors.
Scenario parseScenario(const std::string& text, const std::string& name);

/// Configurations of daemons, by router.
using RouterConfigs = std::map<RouterId, Agent::DaemonConfig>;

/// Reads DIRECTORY/ROUTER.yaml of every router, as a daemon does; no other .yaml may be there.
/// Raises ScenarioError with all that is wrong with the first file that has errors. A router
/// without a file there has what is in `others`; if that has nothing either, it is an error.
RouterConfigs readConfigs(const Topology& topology, const std::string& directory,
                          const RouterConfigs& others = {});

/// A file that says how a network is wired and may leave out all but its topology; what is
/// configured is in the files of a directory, and their families are those of the network.
Scenario readNetwork(const std::string& file, const std::string& directory);

}  // namespace Routing::Sim
