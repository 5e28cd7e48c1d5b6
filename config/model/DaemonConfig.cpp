#include "config/model/DaemonConfig.h"

#include <filesystem>

namespace Routing::Agent {

std::optional<std::string> stateDirectoryOf(const DaemonConfig& config) {
  if (config.stateDirectory == "none") return std::nullopt;
  if (!config.stateDirectory.empty()) return config.stateDirectory;
  return std::filesystem::path(config.controlSocket).replace_extension("state").string();
}

}  // namespace Routing::Agent
