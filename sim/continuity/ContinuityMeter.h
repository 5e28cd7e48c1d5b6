#pragma once

#include <array>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "sim/continuity/Supply.h"
#include "sim/core/Beliefs.h"
#include "sim/core/World.h"

namespace Routing::Sim {

/// What a router can lack for a while.
enum class Lack : std::uint8_t {
  rp,         ///< it has no RP for a group that has one within reach
  bsr,        ///< it knows no BSR of a zone that has a candidate within reach
  agreement,  ///< it has another RP for a group than a router that it can reach
  start,      ///< it has started and has not yet all that others have, since its first Hello
};
inline constexpr std::array allLacks{Lack::rp, Lack::bsr, Lack::agreement, Lack::start};
/// "RP", "BSR", "agreement", "start".
std::string_view nameOf(Lack lack);

/// A time in which a router lacked something; seconds since the start of the run.
struct Gap {
  Lack lack;
  RouterId router;
  IpGenPrefix about;  ///< the range or the zone; the whole multicast range for a start
  double from;
  double to;

  double length() const { return to - from; }
};

/// Measures, in one address family, how groups and routers are served. A router's RP and BSR count
/// from the moment it first had them, as long as it is up and can have them (Supply); after a short
/// absence they count as before. A router that returns without its status or after longer is a
/// newcomer: the time from its first Hello until it has all that others have is its start, and only
/// then counts what it has. Of very many routers some are watched.
class ContinuityMeter final : public WorldObserver {
 public:
  /// The longest absence, in seconds, that is short: RPs and BSR outlive it.
  static constexpr double keeps = 60.0;

  /// Starts to observe both.
  ContinuityMeter(World& world, Beliefs& beliefs, AddressFamily af);

  AddressFamily af() const { return supply_.af(); }
  /// Those that are over, in the order in which they ended; none without length.
  const std::vector<Gap>& gaps() const { return gaps_; }
  /// Those that last, up to now.
  std::vector<Gap> open(Lack lack) const;
  bool anyOpen(Lack lack) const { return open_[static_cast<std::size_t>(lack)] > 0; }
  /// The longest one of a router, 0 if it lacked nothing; none where nothing was measured.
  std::optional<double> longest(Lack lack, RouterId router) const;

  void transmitted(const Packet& packet) override;
  void disturbed(std::string_view what) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  /// Something that is asked for, as one router has it.
  struct Item {
    bool counts = false;               // the router has had it
    std::optional<double> undueSince;  // it cannot have it
    std::optional<double> since;       // it lacks it
  };
  struct Watch {
    RouterId router = 0;
    bool up = false;
    double startedAt = 0.0;  // the instant; 0 before the first start
    double diedAt = 0.0;
    bool newcomer = false;
    std::array<bool, allLacks.size()> measured{};
    std::array<std::vector<Item>, allLacks.size()> items;  // groups, zones, groups, one
    std::vector<IpGenAddr> rp;                             // of each group; empty: to be looked up

    std::vector<Item>& of(Lack lack) { return items[static_cast<std::size_t>(lack)]; }
    const std::vector<Item>& of(Lack lack) const { return items[static_cast<std::size_t>(lack)]; }
    bool hasRp(std::size_t group) const { return up && group < rp.size() && !rp[group].isUnset(); }
  };

  using Rps = std::set<IpGenAddr>;

  void beliefChanged(RouterId router, const Belief& before);
  void refresh();
  void grow(Watch& watch);
  void followLife(Watch& watch);
  void started(Watch& watch);
  void choose(Watch& watch);
  void assess(Watch& watch);
  void itemIs(Watch& watch, Lack lack, std::size_t number, bool due, bool has);
  void lackIs(Watch& watch, Lack lack, std::size_t number, bool lacks);
  void forget(Watch& watch);
  void compare(std::size_t group);
  std::set<std::uint32_t> mixedPlaces(std::size_t group) const;
  void welcome(Watch& watch);
  bool knowsBsr(const Watch& watch, std::size_t zone) const;
  bool waits(const Watch& watch, std::size_t zone) const;
  /// Whether the watch has an RP for the group that others are held against.
  bool settledOn(const Watch& watch, std::size_t group) const;
  /// The RPs for the group on which others of the same place are settled.
  Rps rpsOfOthers(const Watch& watch, std::size_t group) const;
  const IpGenPrefix& about(Lack lack, std::size_t number) const;

  const World& world_;
  const Beliefs& beliefs_;
  Supply supply_;
  const RouterId step_;  // every so manyth router is watched
  const IpGenPrefix everything_;
  std::vector<Watch> watches_;
  bool disturbed_ = true;
  bool anyServed_ = false;         // somebody has had something
  std::vector<RouterId> changed_;  // watches whose belief changed in this event
  bool rpsChanged_ = false;        // in this event
  bool justStarted_ = false;       // a newcomer, in this instant
  std::array<std::size_t, allLacks.size()> open_{};
  std::vector<Gap> gaps_;
};

}  // namespace Routing::Sim
