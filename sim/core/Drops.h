#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "sim/core/Speaker.h"

namespace Routing::Sim {

/// How many messages a running router has dropped in a family, by reason in words; none that is 0.
std::map<std::string, std::uint64_t> dropsOf(const Speaker& speaker);

}  // namespace Routing::Sim
