#pragma once

#include <queue>

#include "sim/invariants/Invariant.h"

namespace Routing::Sim {

/// No RP stays in PIM's view beyond its hold time, on any router: none whose expiry has passed,
/// none whose expiry lies further away than its hold time allows, and none that no zone knows of.
class RpsExpire final : public Invariant {
 public:
  RpsExpire(World& world, std::vector<Violation>& violations)
      : Invariant("RPs expire", world, violations) {}
  void settled(const std::vector<RouterId>& touched) override;

 private:
  struct Due {
    double instant;
    RouterId router;
    bool operator>(const Due& other) const { return instant > other.instant; }
  };
  /// Returns the first expiry among the router's RPs.
  double check(RouterId router);
  void judge(RouterId router, const Speaker& speaker, const Pim::RpCandidateSet& range,
             const Pim::RpEntry& rp);
  bool known(const Speaker& speaker, const Pim::RpCandidateSet& range,
             const Pim::RpEntry& rp) const;

  std::priority_queue<Due, std::vector<Due>, std::greater<>> due_;
};

}  // namespace Routing::Sim
