#pragma once

#include "sim/core/Topology.h"
#include "sim/scenario/YamlReader.h"

namespace Routing::Sim {

void parseTopology(const YamlValue& value, Topology& topology);

/// Reads delay, jitter, loss, duplicate, reorder and reorder-delay where they stand in a mapping.
void parseImpairment(YamlMap& map, Impairment& impairment);

RouterId routerNamed(const YamlValue& value, const Topology& topology);
NetworkId networkNamed(const YamlValue& value, const Topology& topology);
/// "all" gives an empty list.
std::vector<RouterId> routersNamed(const YamlValue& value, const Topology& topology);

}  // namespace Routing::Sim
