#pragma once

#include <optional>
#include <vector>

#include "sim/core/Beliefs.h"
#include "sim/core/World.h"

namespace Routing::Sim {

/// Measures how long a zone is without agreement: from the death of its elected BSR until all
/// routers that are up hold one BSR again that is alive. A BSR that steps down for one that lives
/// has not died.
class FailoverMeter final : public WorldObserver {
 public:
  /// Starts to observe the world; the beliefs must have been made before.
  FailoverMeter(World& world, const Beliefs& beliefs, const IpGenPrefix& zone);

  /// Seconds, one for each death that was overcome.
  const std::vector<double>& durations() const { return durations_; }
  /// True while a BSR is dead and not yet replaced everywhere.
  bool pending() const { return death_.has_value(); }
  void settled(const std::vector<RouterId>& touched) override;

 private:
  /// The BSR that all believe in; unset if they differ or nobody is it.
  IpGenAddr agreed() const;
  bool alive(const IpGenAddr& bsr) const;
  bool dead(const IpGenAddr& bsr) const;
  /// Of the router that has the address and is up; null if there is none, or it knows no BSR.
  const ZoneBelief* beliefOf(const IpGenAddr& bsr) const;

  const World& world_;
  const Beliefs& beliefs_;
  const IpGenPrefix zone_;
  IpGenAddr current_;
  std::optional<double> death_;
  std::vector<double> durations_;
};

/// The longest that a failover may take: the BS time-out, the largest back-off and the time that a
/// flood needs.
double failoverBound(const World& world);

}  // namespace Routing::Sim
