#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

#include "platform/Export.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Pim::Bsr {

/// A group range of which the zone's BSR announces more RPs than have arrived.
struct IncompleteRange {
  std::uint8_t expected = 0;  ///< RPs
  std::size_t received = 0;   ///< of them, of the last message
  double since = 0.0;         ///< when the first message with a gap began
  std::uint16_t tag = 0;      ///< of the last one
};

/// The ranges that are incomplete, from the first fragment until all have arrived, for operators:
/// reassembly itself forgets a range after some seconds. What neither of the last two messages of a
/// zone tells of is no longer announced, and forgotten.
class ROUTING_API IncompleteRanges {
 public:
  using Ranges = std::map<IpGenPrefix, IncompleteRange>;

  /// A fragment of a message for the zone is being read.
  void messageIs(const IpGenPrefix& zone, std::uint16_t tag);
  /// `most` bounds how many ranges are remembered, over all zones.
  void rangeIs(const IpGenPrefix& zone, const IpGenPrefix& prefix, const IncompleteRange& range,
               std::size_t most);
  void rangeDel(const IpGenPrefix& zone, const IpGenPrefix& prefix);
  /// What a BSR said that is no longer followed.
  void zoneDel(const IpGenPrefix& zone) { zones_.erase(zone); }

  /// Of one zone.
  const Ranges& ranges(const IpGenPrefix& zone) const;

 private:
  struct Zone {
    std::uint16_t tag = 0;
    std::uint16_t tagBefore = 0;
    Ranges ranges;
  };

  std::map<IpGenPrefix, Zone> zones_;
};

}  // namespace Routing::Pim::Bsr
