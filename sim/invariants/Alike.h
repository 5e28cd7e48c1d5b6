#pragma once

#include <map>
#include <optional>

#include "sim/invariants/Promise.h"

namespace Routing::Sim {

/// Routers that reach each other choose alike, but for the time of a flood. Not judged after
/// something broke or came back, until a flood that can reach everybody is over.
class Alike final : public Promise {
 public:
  Alike(World& world, const ContinuityMeters& meters, const Troubles& troubles,
        std::vector<Violation>& violations, Broken broken)
      : Promise("alike", world, meters, troubles, violations, broken) {}
  void transmitted(const Packet& packet) override;

 private:
  void judge(const Gap& gap) override;
  /// Since when all have heard every zone's BSR; none if that is not so.
  std::optional<double> heardSince(AddressFamily af) const;

  std::map<IpGenPrefix, double> heard_;  // by zone: a flood after the last change
};

}  // namespace Routing::Sim
