#pragma once

#include "sim/core/World.h"

namespace Routing::Sim {

/// How long, in seconds, a network needs after the last disturbance to settle, given the timers
/// that are configured in it: until all follow one BSR, and until stale RPs are gone everywhere.
struct SettlingTimes {
  double bsr;
  double rpSet;
};

SettlingTimes settlingTimes(const World& world);

/// The longest time, in seconds, that a flood takes to reach every router.
double floodingTime(const World& world);

/// The upper bound of the back-off of a candidate BSR, in seconds (RFC 5059 section 5).
inline constexpr double longestBackOff = 23.0;

}  // namespace Routing::Sim
