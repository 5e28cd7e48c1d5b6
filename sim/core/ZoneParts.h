#pragma once

#include <cstdint>
#include <vector>

#include "sim/core/World.h"

namespace Routing::Sim {

/// The connected parts of a zone: routers that its Bootstrap messages can reach each other from.
/// The same number for all routers of one part.
std::vector<std::uint32_t> partsOf(const World& world, const IpGenPrefix& zone);

}  // namespace Routing::Sim
