#pragma once

#include <string>

#include "agent/Options.h"
#include "agent/config/ConfigFile.h"

namespace Routing::Agent {

/// Where the daemon's configuration comes from: a file, or the command line alone. The command
/// line's overrides are part of what it gives.
class ConfigSource {
 public:
  explicit ConfigSource(const Options& options) : options_(options) {}

  /// Empty without a file.
  const std::string& file() const { return options_.configFile; }
  /// Reads the file, again if it has been read before. Takes bounded time and never raises.
  LoadedConfig load(const std::optional<AddressedInterfaces>& addressed = std::nullopt) const;

 private:
  const Options options_;
};

}  // namespace Routing::Agent
