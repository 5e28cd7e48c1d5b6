#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "bsr/types/PimBsr.h"
#include "platform/net/IpGenPrefix.h"
#include "sim/core/World.h"

namespace Routing::Sim {

/// What one router holds to be true of one zone.
struct ZoneBelief {
  IpGenPrefix zone;
  IpGenAddr bsr;  ///< unset if none is known
  std::uint16_t priority = 0;
  std::uint32_t hashMaskLen = 0;
  std::optional<Pim::Bsr::BsrCandidateState> state;  ///< where it is a candidate
  bool elected = false;
  std::uint32_t rps = 0;       ///< in all ranges
  std::uint64_t rpDigest = 0;  ///< equal for equal RP sets, but for hold times

  friend bool operator==(const ZoneBelief&, const ZoneBelief&) = default;
};

/// What one router holds to be true in one address family.
struct Belief {
  std::vector<ZoneBelief> zones;  ///< by zone; without those of which nothing is known
  std::uint64_t viewDigest = 0;   ///< of PIM's RP set
  std::uint32_t viewRps = 0;

  /// Null if nothing is known of the zone.
  const ZoneBelief* zone(const IpGenPrefix& prefix) const;
  friend bool operator==(const Belief&, const Belief&) = default;
};

/// A digest of an RP set: ranges that hold RPs, with address, priority, mode and hash mask length
/// of each RP. `rps` is raised by their number.
std::uint64_t rpSetDigest(const Pim::RpCandidateStatus& set, std::uint32_t& rps);

/// The beliefs of all routers, kept up to date after every event. A router that is down believes
/// nothing.
class Beliefs final : public WorldObserver {
 public:
  using Listener = std::function<void(RouterId, AddressFamily, const Belief& before)>;

  /// Starts to observe the world.
  explicit Beliefs(World& world);

  const Belief& of(RouterId router, AddressFamily af) const;
  const World& world() const { return world_; }
  /// Number of changes so far.
  std::uint64_t changes() const { return changes_; }
  /// Called after each change, in the order in which they came.
  void listenerIs(Listener listener) { listeners_.push_back(std::move(listener)); }
  /// All zones that anybody knows of, in order.
  std::vector<IpGenPrefix> zones(AddressFamily af) const;

  void settled(const std::vector<RouterId>& touched) override;

 private:
  void renew(RouterId router, std::size_t family);

  const World& world_;
  std::vector<std::vector<Belief>> belief_;  // by place of the family, then by router
  std::vector<Listener> listeners_;
  std::uint64_t changes_ = 0;
};

}  // namespace Routing::Sim
