#pragma once

#include "sim/core/Random.h"
#include "sim/invariants/QuietInvariant.h"

namespace Routing::Sim {

/// Once quiet, every sampled group has the same RP wherever the same zones are.
class SameRp final : public QuietInvariant {
 public:
  SameRp(World& world, const Beliefs& beliefs, std::vector<Violation>& violations)
      : QuietInvariant("same RP", world, beliefs, violations), random_(world.seed()) {}

 private:
  double settlingTime(const SettlingTimes& times) const override { return times.rpSet; }
  void judge() override;
  void judgeFamily(AddressFamily af);
  std::vector<IpGenAddr> sampleGroups(AddressFamily af);

  Random random_;  // its own, so that looking changes nothing
};

}  // namespace Routing::Sim
