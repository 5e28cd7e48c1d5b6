#pragma once

#include "platform/entity/Schema.h"

namespace Routing::Pim::Bsr {

/// What neighbours can make this router hold, in one VRF and address family, and how often each
/// bound was met. A bound that is lowered takes effect on what comes next.
///   maxZones      scoped zones learned from Bootstrap messages
///   maxGroups     group ranges with an RP set, over all zones
///   maxRps        RPs, over all group ranges
///   maxFragments  group ranges of which not all fragments have arrived
/// The messages that are kept to prime new neighbours may hold as many ranges and RPs, over all
/// zones, as maxGroups and maxRps allow together; one that finds no room is refusedKept.
#define PIM_BSR_LIMITS(ATTR)                     \
  ATTR(VALUE, maxZones, std::uint32_t, 1024)     \
  ATTR(VALUE, maxGroups, std::uint32_t, 16384)   \
  ATTR(VALUE, maxRps, std::uint32_t, 65536)      \
  ATTR(VALUE, maxFragments, std::uint32_t, 4096) \
  ATTR(COUNTER, refusedZones)                    \
  ATTR(COUNTER, refusedGroups)                   \
  ATTR(COUNTER, refusedRps)                      \
  ATTR(COUNTER, refusedFragments)                \
  ATTR(COUNTER, refusedKept)

class ROUTING_API PimBsrLimits : public Entity {
 public:
  ROUTING_ENTITY(PimBsrLimits, PIM_BSR_LIMITS)
};

}  // namespace Routing::Pim::Bsr
