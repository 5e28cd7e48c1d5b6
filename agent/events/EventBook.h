#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <vector>

#include "agent/events/Event.h"

namespace Routing::Agent {

/// The last events of one VRF and family, and what became of each zone's BSR. Neighbours, which
/// anybody on a link can make up, have their own share of the room.
class EventBook {
 public:
  static constexpr std::size_t share = 128;
  static constexpr std::size_t zones = 1024;

  /// What a zone has seen since the instance started.
  struct ZoneHistory {
    std::uint32_t elections = 0;  ///< how often another BSR than before was the zone's
    std::uint32_t silences = 0;   ///< how often its BSR was not heard from in time
    Event lastChange;             ///< of its BSR
  };

  void add(const Event& event);
  /// At most so many of those that pass, the oldest first.
  std::vector<Event> last(std::size_t most,
                          const std::function<bool(const Event&)>& passes = {}) const;
  /// Null if the zone's BSR has never changed.
  const ZoneHistory* history(const IpGenPrefix& zone) const;

 private:
  std::deque<Event> network_;
  std::deque<Event> neighbors_;
  std::map<IpGenPrefix, ZoneHistory> histories_;
};

}  // namespace Routing::Agent
