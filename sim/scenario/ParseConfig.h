#pragma once

#include "sim/scenario/ParseTopology.h"
#include "sim/scenario/Scenario.h"

namespace Routing::Sim {

/// What is configured on some routers:
///   {router: [r1, r2], bsr-candidate: {priority: 100}}
/// with what their configuration files hold of an address family, its "bsr", or access lists.
ConfigEdit parseConfigEdit(const YamlValue& value, const Scenario& scenario);

/// Addresses of an interface of one router, "lo" unless named:
///   {router: r1, interface: rp1..9, to: 10.1.0.1}
std::vector<AddressEdit> parseAddressEdits(const YamlValue& value, const Scenario& scenario);

/// The configuration of all routers at the start.
void parseConfiguration(const std::vector<YamlValue>& items, Scenario& scenario);

AddressFamily parseFamily(const YamlValue& value);

}  // namespace Routing::Sim
