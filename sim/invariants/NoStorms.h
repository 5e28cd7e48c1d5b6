#pragma once

#include <cstdint>
#include <map>
#include <tuple>
#include <utility>

#include "sim/invariants/Invariant.h"

namespace Routing::Sim {

/// Bootstrap messages are bounded. One event, be it a message, a timer or a change of
/// configuration, makes a router send at most one message of a zone and BSR on an interface:
/// nothing multiplies but by the number of interfaces. And the messages of a zone on an interface
/// within a minute are bounded by the number of its candidates (docs/decisions/election.md). The
/// fragments of one message count as one.
class NoStorms final : public Invariant {
 public:
  static constexpr std::size_t mostPerEvent = 1;  ///< on one interface, for each zone

  NoStorms(World& world, std::vector<Violation>& violations)
      : Invariant("no storms", world, violations) {}
  void transmitted(const Packet& packet) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  using Place = std::tuple<RouterId, NetworkId, IpGenPrefix>;
  using Voice = std::pair<Place, IpGenAddr>;  // with the BSR

  /// Counts messages. The fragments of one, which differ, count once; what is sent again counts
  /// again.
  class Tally {
   public:
    void add(const Packet& packet, std::uint16_t fragmentTag);
    std::size_t messages() const { return messages_; }

   private:
    struct Copies {
      std::map<std::uint64_t, std::size_t> ofFragment;  // by a digest of its octets
      std::size_t most = 0;
    };
    std::map<std::uint16_t, Copies> byTag_;
    std::size_t messages_ = 0;
  };

  void judge(const Place& place, std::size_t atOnce, std::size_t inMinute);
  std::size_t mostPerMinute(const Place& place) const;

  std::map<Voice, Tally> event_;
  std::map<Place, Tally> minute_;
  double minuteBegan_ = 0.0;
};

}  // namespace Routing::Sim
