#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "agent/router/TimeoutOverrides.h"
#include "config/model/DaemonConfig.h"

namespace Routing::Agent {

/// The command line of the daemon.
struct Options {
  std::string configFile;  ///< absolute; empty if `builtIn` is the configuration
  DaemonConfig builtIn;    ///< PIM on the interfaces of the command line
  TimeoutOverrides timeouts;

  // In place of what the configuration says:
  std::optional<std::string> control;
  std::optional<std::string> stateDirectory;
  std::optional<std::string> logLevel;
  std::vector<std::pair<std::string, int>> traces;  ///< facility prefix and level
};

/// Reads the command line. Gives the exit code instead where nothing is left to do: 0 after help or
/// version, 2 after a mistake, which is explained on standard error.
std::variant<Options, int> parseOptions(int argc, const char* const* argv);

}  // namespace Routing::Agent
