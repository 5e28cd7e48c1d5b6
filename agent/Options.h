#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/net/AddressFamily.h"
#include "platform/pim/HelloConfig.h"

namespace Routing::Agent {

/// The first Hello goes out at once, so that neighbours prime a newcomer within six seconds.
inline Pim::HelloConfig promptHellos() {
  Pim::HelloConfig config;
  config.firstDelay = 0.5;
  return config;
}

/// What the mechanism is given in every VRF and family.
struct InstanceOptions {
  Pim::HelloConfig hello = promptHellos();
  std::uint32_t bsTimeout = 130;   ///< seconds (RFC 5059 section 5)
  std::uint32_t szTimeout = 1300;  ///< seconds (RFC 5059 section 5)
  std::optional<std::uint32_t> maxZones;
  std::optional<std::uint32_t> maxGroups;
  std::optional<std::uint32_t> maxRps;
  std::optional<std::uint32_t> maxFragments;
};

/// The command line of the daemon.
struct Options {
  std::vector<std::string> interfaces;
  std::vector<AddressFamily> families;
  InstanceOptions instance;
  std::string control = "/run/pimbsrd/control.sock";
  std::string logLevel = "info";
  std::vector<std::pair<std::string, int>> traces;  ///< facility prefix and level
};

/// Reads the command line. Gives the exit code instead where nothing is left to do: 0 after help or
/// version, 2 after a mistake, which is explained on standard error.
std::variant<Options, int> parseOptions(int argc, const char* const* argv);

}  // namespace Routing::Agent
