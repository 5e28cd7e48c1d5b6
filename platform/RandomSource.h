#pragma once

#include <functional>

namespace Routing {

/// Where random numbers come from: each call gives one, evenly spread over [0, 1). It is handed in,
/// so that a run can be repeated, and shared by reference: a copy would give the same numbers
/// again.
using RandomSource = std::function<double()>;

}  // namespace Routing
