#pragma once

#include <array>
#include <cstdint>

#include "platform/time/Clock.h"
#include "sim/replay/ReplayRouter.h"

namespace Routing::Sim {

/// Routers of both families that hear a capture in its own time.
class Replay {
 public:
  Replay() = default;
  Replay(const Replay&) = delete;
  Replay& operator=(const Replay&) = delete;

  /// The next packet; `time` in seconds, whatever the first is counted from. One that is before the
  /// last counts as at the same time.
  void hear(double time, const Pim::IpPayload& packet);

  /// From the first packet to the last.
  double seconds() const { return clock_.now(); }
  std::array<const ReplayRouter*, 2> routers() const { return {&v4_, &v6_}; }

 private:
  void goTo(double instant);

  VirtualClock clock_;
  TimerWheel wheel_{clock_};
  double start_ = 0;
  bool started_ = false;
  ReplayRouter v4_{AddressFamily::ipv4, wheel_};
  ReplayRouter v6_{AddressFamily::ipv6, wheel_};
};

}  // namespace Routing::Sim
