#include "config/model/DaemonConfig.h"

#include <filesystem>

namespace Routing::Agent {

Pim::HelloConfig InterfaceSettings::hello() const {
  Pim::HelloConfig config;
  config.firstDelay = 0.5;  // at once, so that neighbours prime a newcomer within six seconds
  config.passive = helloPassive;
  config.helloPeriod = helloInterval;
  config.holdtime = helloHoldtime;
  config.drPriority = drPriority;
  config.propagationDelay = propagationDelay;
  config.overrideInterval = overrideInterval;
  return config;
}

std::optional<std::string> stateDirectory(const DaemonConfig& config) {
  if (config.stateDirectory == "none") return std::nullopt;
  if (!config.stateDirectory.empty()) return config.stateDirectory;
  return std::filesystem::path(config.controlSocket).replace_extension("state").string();
}

}  // namespace Routing::Agent
