#pragma once

#include <vector>

#include "config/model/DaemonConfig.h"
#include "sim/core/Topology.h"

// What the simulator needs to know of routers' configurations: of the VRFs that they speak of it
// simulates the default one.

namespace Routing::Sim {

const VrfName& defaultVrf();

/// The settings of a family, which must be configured.
const Agent::FamilySettings& settingsOf(const Agent::DaemonConfig& config, AddressFamily af);
Agent::FamilySettings& settingsOf(Agent::DaemonConfig& config, AddressFamily af);

/// The same with settings in each of these families, by default where there were none.
Agent::DaemonConfig inFamilies(Agent::DaemonConfig config,
                               const std::vector<AddressFamily>& families);

/// The same with PIM on all networks of a router, by default where nothing is said of one.
Agent::DaemonConfig onAllNetworks(Agent::DaemonConfig config, const Topology& topology,
                                  RouterId router, const std::vector<AddressFamily>& families);

}  // namespace Routing::Sim
