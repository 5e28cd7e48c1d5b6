#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>

#include "config/model/DaemonConfig.h"
#include "config/model/Finding.h"

namespace Routing::Agent {

/// The interfaces that have an address of a family.
using AddressedInterfaces = std::set<std::pair<std::string, AddressFamily>>;

/// Whether the parts of a configuration fit together, which no schema can say. Findings have paths
/// and no lines. A configuration with errors must not reach the library: some of them fail
/// assertions there, such as a zone that two interfaces claim.
///
/// Only who knows the interfaces of the router can say which of them have addresses.
Findings judge(const DaemonConfig& config,
               const std::optional<AddressedInterfaces>& addressed = std::nullopt);

}  // namespace Routing::Agent
