#pragma once

#include <cmath>
#include <stdexcept>

#include "platform/time/TimerWheel.h"

namespace Routing::TestKit {

/// The last instant before another.
inline double justBefore(double instant) {
  return std::nextafter(instant, -never);
}

/// Jumps from expiry to expiry up to an instant, fires what is due at it as well, and leaves the
/// clock there. Throws if timers keep each other busy without time passing.
inline void runUntil(VirtualClock& clock, TimerWheel& wheel, double instant) {
  constexpr int mostTurnsAtOnce = 10'000;
  int turns = 0;
  while (wheel.nextExpiry() <= instant) {
    turns = wheel.nextExpiry() > clock.now() ? 0 : turns + 1;
    if (turns > mostTurnsAtOnce) throw std::runtime_error("time stands still");
    clock.nowIs(wheel.nextExpiry());
    wheel.fireDue();
  }
  clock.nowIs(instant);
}

}  // namespace Routing::TestKit
