#pragma once

#include "sim/core/Random.h"
#include "sim/scenario/Control.h"

namespace Routing::Sim {

/// Plagues a network until a given time, with chance of its own from the seed: networks that lose,
/// repeat and reorder packets for a while, links that go down and come back, routers that die and
/// return with or without their status. All is well again at the end.
class RandomFaults {
 public:
  RandomFaults(Control& control, std::uint64_t seed, double until);

 private:
  void schedule(double at);
  void strike();
  void impair();
  void cut();
  void kill();
  /// A time to heal: within `most` seconds and before the end.
  double healing(double most);

  Control& control_;
  Random random_;
  const double until_;
};

}  // namespace Routing::Sim
