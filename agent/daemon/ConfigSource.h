#pragma once

#include <string>

#include "agent/daemon/Options.h"
#include "config/file/ConfigFile.h"

namespace Routing::Agent {

/// Where the daemon's configuration comes from: a file, or the command line alone. The command
/// line's overrides are part of what it gives.
class ConfigSource {
 public:
  explicit ConfigSource(const Options& options) : options_(options) {}

  /// Empty without a file.
  const std::string& file() const { return options_.configFile; }
  /// For the start, at which standard input ("/dev/stdin") is read to its end, whatever it is.
  /// Never raises.
  LoadedConfig load() const;
  /// Reads the file again, for a daemon whose interfaces have these addresses. Takes bounded time
  /// and never raises. May run in another thread than the daemon's.
  LoadedConfig loadAgain(const AddressedInterfaces& addressed) const;

 private:
  LoadedConfig overruled(LoadedConfig loaded) const;

  const Options options_;
};

}  // namespace Routing::Agent
