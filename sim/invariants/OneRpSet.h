#pragma once

#include "sim/invariants/QuietInvariant.h"

namespace Routing::Sim {

/// Once quiet, all routers of a connected part of a zone hold the same RP set of it, the elected
/// BSR included; and PIM's view is the same wherever the same zones are.
class OneRpSet final : public QuietInvariant {
 public:
  OneRpSet(World& world, const Beliefs& beliefs, std::vector<Violation>& violations)
      : QuietInvariant("one RP set", world, beliefs, violations) {}

 private:
  double settlingTime(const SettlingTimes& times) const override { return times.rpSet; }
  void judge() override;
  void judgeFamily(AddressFamily af);
};

}  // namespace Routing::Sim
