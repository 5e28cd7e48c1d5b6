#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "sim/core/Random.h"
#include "sim/core/World.h"

namespace Routing::Sim {

/// What the routers of a network may ask of it in one address family, by what is configured and
/// what is up: for each sampled group an RP wherever a candidate RP and a candidate BSR are within
/// reach, for each zone a BSR wherever a candidate is.
class Supply {
 public:
  struct Group {
    IpGenPrefix range;  ///< of a candidate RP
    IpGenAddr address;
  };

  /// Groups of `ranges` are sampled too, whoever stands for them.
  Supply(const World& world, AddressFamily af, std::set<IpGenPrefix> ranges = {});

  /// Looks at the network anew, after something was done to it.
  void refresh();

  AddressFamily af() const { return af_; }
  /// Groups of every range for which any router has ever stood as candidate RP; only grows.
  const std::vector<Group>& groups() const { return groups_; }
  /// Zones for which any router has ever stood as candidate BSR; only grows.
  const std::vector<IpGenPrefix>& zones() const { return zones_; }

  // Of routers that are up.
  bool rpDue(RouterId router, std::size_t group) const;
  bool bsrDue(RouterId router, std::size_t zone) const;
  /// The same number for routers that can reach each other in every zone that the group is in, and
  /// so have to choose the same RP.
  std::uint32_t place(RouterId router, std::size_t group) const;

 private:
  using Places = std::vector<std::uint32_t>;  // by router
  /// Groups that are in the same zones.
  struct Domain {
    std::vector<std::size_t> zones;
    Places places;
  };

  void noteZones();
  void noteGroups(std::set<IpGenPrefix> ranges = {});
  void sample(const IpGenPrefix& range, std::size_t groups);
  void drawParts();
  void drawDomains();
  Domain domainOf(const std::vector<std::size_t>& zones) const;
  void serve();
  void serve(RouterId rp, const IpGenPrefix& range);
  RouterId routers() const { return static_cast<RouterId>(world_.topology().routers().size()); }
  const Duties& duties(RouterId router) const { return world_.speaker(router, af_).duties(); }

  const World& world_;
  const AddressFamily af_;
  Random random_;  // its own, so that looking changes nothing
  std::vector<Group> groups_;
  std::vector<IpGenPrefix> zones_;
  std::set<IpGenPrefix> sampled_;

  std::vector<Places> parts_;                     // of each zone
  std::vector<std::set<std::uint32_t>> withBsr_;  // parts of each zone with a candidate BSR
  std::vector<Domain> domains_;
  std::vector<std::size_t> domain_;              // of each group
  std::vector<std::set<std::uint32_t>> served_;  // places of each group that can have an RP
};

}  // namespace Routing::Sim
