#pragma once

#include <map>
#include <set>
#include <tuple>

#include "sim/invariants/Invariant.h"

namespace Routing::Sim {

/// Bootstrap messages are bounded: on one interface a router sends at most a few in one event, and
/// not many in a minute. The fragments of one message count as one.
class NoStorms final : public Invariant {
 public:
  static constexpr std::size_t mostPerEvent = 4;  ///< on one interface, for each zone
  static constexpr unsigned mostPerMinute = 120;  ///< on one interface, for each zone

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

  std::map<Place, std::multiset<std::uint16_t>> event_;  // fragment tags sent in this event
  std::map<Place, Tally> minute_;
  double minuteBegan_ = 0.0;
};

}  // namespace Routing::Sim
