#include "sim/core/Configs.h"

#include <utility>

namespace Routing::Sim {

const VrfName& defaultVrf() {
  static const VrfName name{std::string(VrfName::defaultName)};
  return name;
}

const Agent::FamilySettings& settingsOf(const Agent::DaemonConfig& config, AddressFamily af) {
  return config.vrfs.at(defaultVrf()).at(af);
}

Agent::FamilySettings& settingsOf(Agent::DaemonConfig& config, AddressFamily af) {
  return config.vrfs.at(defaultVrf()).at(af);
}

Agent::DaemonConfig inFamilies(Agent::DaemonConfig config,
                               const std::vector<AddressFamily>& families) {
  for (const AddressFamily af : families) config.vrfs[defaultVrf()].try_emplace(af);
  return config;
}

Agent::DaemonConfig onAllNetworks(Agent::DaemonConfig config, const Topology& topology,
                                  RouterId router, const std::vector<AddressFamily>& families) {
  config = inFamilies(std::move(config), families);
  for (const AddressFamily af : families) {
    for (const NetworkId network : topology.router(router).networks) {
      settingsOf(config, af)
          .interfaces.try_emplace(topology.network(network).intfOf(router).text());
    }
  }
  return config;
}

}  // namespace Routing::Sim
