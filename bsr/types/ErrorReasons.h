#pragma once

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "bsr/types/PimBsr.h"

namespace Routing::Pim::Bsr {

/// What the counters of refused messages are called where operators read them, with their values.
ROUTING_API std::vector<std::pair<std::string_view, std::uint32_t>> errorsByReason(
    const PimBsrErrorCounters& errors);

}  // namespace Routing::Pim::Bsr
