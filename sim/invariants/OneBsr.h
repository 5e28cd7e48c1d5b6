#pragma once

#include "sim/invariants/QuietInvariant.h"

namespace Routing::Sim {

/// Once quiet, every connected part of a zone has at most one elected BSR, all its routers hold the
/// same BSR with the same priority and hash mask length, and it is one that is elected there.
class OneBsr final : public QuietInvariant {
 public:
  OneBsr(World& world, const Beliefs& beliefs, std::vector<Violation>& violations)
      : QuietInvariant("one BSR", world, beliefs, violations) {}

 private:
  double settlingTime(const SettlingTimes& times) const override { return times.bsr; }
  void judge() override;
  void judgeZone(const IpGenPrefix& zone);
};

}  // namespace Routing::Sim
