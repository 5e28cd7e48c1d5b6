#pragma once

#include <map>
#include <set>
#include <tuple>

#include "sim/invariants/Invariant.h"

namespace Routing::Sim {

/// Bootstrap messages are bounded. One event, be it a message, a timer or a change of
/// configuration, makes a router send at most one message of a zone on an interface: nothing
/// multiplies but by the number of interfaces. And the messages of a zone on an interface within a
/// minute are bounded by the number of its candidates (docs/decisions/election.md). The fragments
/// of one message count as one.
class NoStorms final : public Invariant {
 public:
  static constexpr std::size_t mostPerEvent = 1;  ///< on one interface, for each zone

  NoStorms(World& world, std::vector<Violation>& violations)
      : Invariant("no storms", world, violations) {}
  void transmitted(const Packet& packet) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  using Place = std::tuple<RouterId, NetworkId, IpGenPrefix>;

  struct Tally {
    std::size_t packets = 0;
    std::size_t fragments = 1;  // most packets of one message
  };

  void judge(const Place& place, std::size_t messages, const Tally& tally);
  std::size_t mostPerMinute(const Place& place) const;

  std::map<Place, std::multiset<std::uint16_t>> event_;  // fragment tags sent in this event
  std::map<Place, Tally> minute_;
  double minuteBegan_ = 0.0;
};

}  // namespace Routing::Sim
