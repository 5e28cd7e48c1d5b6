#pragma once

#include "platform/entity/Schema.h"

namespace Routing::Pim::Bsr {

/// What neighbours can make this router hold, in one VRF and address family, and how often each
/// bound was met. A bound that is lowered takes effect on what comes next.
///   maxZones      scoped zones learned from Bootstrap messages
///   maxGroups     group ranges with an RP set, over all zones
///   maxRps        RPs, over all group ranges
///   maxFragments  group ranges of which not all fragments have arrived
/// A range has at most 255 RPs at its elected BSR, as many as a message can tell of: what is not
/// among the best is refusedRpsOfRange.
/// A message that is to be kept to prime new neighbours and finds no room is refusedKept; see
/// maxKept().
#define PIM_BSR_LIMITS(ATTR)                                                  \
  ATTR(VALUE, maxZones, std::uint32_t, PimBsrLimits::maxZonesDefault)         \
  ATTR(VALUE, maxGroups, std::uint32_t, PimBsrLimits::maxGroupsDefault)       \
  ATTR(VALUE, maxRps, std::uint32_t, PimBsrLimits::maxRpsDefault)             \
  ATTR(VALUE, maxFragments, std::uint32_t, PimBsrLimits::maxFragmentsDefault) \
  ATTR(COUNTER, refusedZones)                                                 \
  ATTR(COUNTER, refusedGroups)                                                \
  ATTR(COUNTER, refusedRps)                                                   \
  ATTR(COUNTER, refusedRpsOfRange)                                            \
  ATTR(COUNTER, refusedFragments)                                             \
  ATTR(COUNTER, refusedKept)

class ROUTING_API PimBsrLimits : public Entity {
 public:
  static constexpr std::uint32_t maxZonesDefault = 1024;
  static constexpr std::uint32_t maxGroupsDefault = 16384;
  static constexpr std::uint32_t maxRpsDefault = 65536;
  static constexpr std::uint32_t maxFragmentsDefault = 4096;

  ROUTING_ENTITY(PimBsrLimits, PIM_BSR_LIMITS)
};

/// How many ranges and RPs the messages that are kept to prime new neighbours may hold together,
/// over all zones: as many as maxGroups and maxRps allow.
inline std::uint64_t maxKept(const PimBsrLimits& limits) {
  return std::uint64_t{limits.maxGroups()} + limits.maxRps();
}

}  // namespace Routing::Pim::Bsr
