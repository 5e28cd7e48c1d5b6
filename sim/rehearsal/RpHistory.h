#pragma once

#include <set>
#include <vector>

#include "sim/continuity/Supply.h"
#include "sim/core/Beliefs.h"

namespace Routing::Sim {

/// Writes down which RP every router chooses for sampled groups of one address family, from now on.
class RpHistory final : public WorldObserver {
 public:
  /// From an instant on; seconds since the start of the run.
  struct Moment {
    double at;
    IpGenAddr rp;         ///< unset: none
    std::uint32_t place;  ///< routers of one place can reach each other, and should choose alike

    friend bool operator==(const Moment&, const Moment&) = default;
  };
  using Moments = std::vector<Moment>;

  /// Starts to observe both. Groups are those of the ranges that are configured, and of `ranges`.
  RpHistory(World& world, Beliefs& beliefs, AddressFamily af, std::set<IpGenPrefix> ranges);

  AddressFamily af() const { return supply_.af(); }
  /// The groups at the start; what is configured later adds none.
  const std::vector<Supply::Group>& groups() const { return groups_; }
  /// In the order of time; the first is of the start. Empty for a router that was down then.
  const Moments& of(RouterId router, std::size_t group) const { return moments_[router][group]; }

  void disturbed(std::string_view what) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  void note(RouterId router);

  const World& world_;
  Supply supply_;
  const std::vector<Supply::Group> groups_;
  std::vector<std::vector<Moments>> moments_;  // by router and group
  std::set<RouterId> changed_;                 // whose RPs changed in this event
  bool disturbed_ = false;
};

}  // namespace Routing::Sim
