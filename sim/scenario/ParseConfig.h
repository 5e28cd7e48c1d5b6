#pragma once

#include "sim/scenario/ParseTopology.h"
#include "sim/scenario/Scenario.h"

// What is configured, as a list of items such as
//   - candidate-bsr: {router: r1, zone: 239.0.0.0/8, priority: 100}

namespace Routing::Sim {

/// Changes the configuration of one router in one family.
struct ConfigChange {
  RouterId router;
  AddressFamily af;
  std::function<void(RouterConfig&)> apply;
};

/// The kinds of items that parseChanges() understands.
const std::vector<std::string>& configKinds();

/// The changes that the item `kind` of a mapping asks for: one for each family concerned.
std::vector<ConfigChange> parseChanges(const std::string& kind, const YamlValue& value,
                                       const Scenario& scenario);

/// The whole list, applied to the scenario's configuration.
void parseConfiguration(const YamlValue& list, Scenario& scenario);

}  // namespace Routing::Sim
