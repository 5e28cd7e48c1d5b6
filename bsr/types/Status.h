#pragma once

#include <string>

#include "bsr/types/PimBsr.h"
#include "bsr/types/RpCandidateOptions.h"
#include "platform/entity/Schema.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/net/VrfName.h"
#include "platform/pim/RpCandidateStatus.h"

/// The status of the BSR mechanism in one VRF and address family: what configuration makes of the
/// router, and what the protocol finds out. Times are seconds; instants are absolute on the event
/// loop's monotonic clock.
namespace Routing::Pim::Bsr {

/// A zone in which this router is a candidate BSR. Configuration writes the upper five attributes;
/// `elected` and `state` belong to the zone's machine.
#define PIM_BSR_CANDIDATE(ATTR)                               \
  ATTR(VALUE, address, IpGenAddr, {})                         \
  ATTR(VALUE, intfId, IntfId, {})                             \
  ATTR(VALUE, priority, std::uint16_t, priorityUnknown)       \
  ATTR(VALUE, hashMaskLen, std::uint32_t, hashMaskLenUnknown) \
  ATTR(VALUE, bsPeriod, std::uint32_t, bsPeriodUnknown)       \
  ATTR(VALUE, elected, bool, false)                           \
  ATTR(VALUE, state, BsrCandidateState, BsrCandidateState::noInfoBsr)

class ROUTING_API BsrCandidate : public Entity {
  ROUTING_KEY(BsrCandidate, IpGenPrefix, zone)
  ROUTING_ENTITY(BsrCandidate, PIM_BSR_CANDIDATE)
};

/// An address that this router advertises as candidate RP, with its group ranges. Only ranges that
/// have a priority in `prefixOptions` are advertised.
#define PIM_BSR_RP_CANDIDATE(ATTR)                                                          \
  ATTR(VALUE, intfId, IntfId, {})                                                           \
  ATTR(VALUE, interval, CrpAdvInterval, {})                                                 \
  ATTR(SET, prefixSet, IpGenPrefix)                                                         \
  ATTR(COLLECTION, prefixOptions, PrefixOptions, IpGenPrefix, RpCandidateGroupEntryOptions) \
  ATTR(VALUE, mode, PimMode, PimMode::sparse)

class ROUTING_API RpCandidate : public Entity {
  ROUTING_KEY(RpCandidate, IpGenAddr, address)
  ROUTING_ENTITY(RpCandidate, PIM_BSR_RP_CANDIDATE)
};

/// The elected BSR of a zone. `upTime` and `expires` are for display: as of the last write.
#define PIM_BSR_ELECTED_BSR_STATUS(ATTR)                      \
  ATTR(VALUE, ipAddr, IpGenAddr, {})                          \
  ATTR(VALUE, priority, std::uint16_t, priorityUnknown)       \
  ATTR(VALUE, hashMaskLen, std::uint32_t, hashMaskLenUnknown) \
  ATTR(VALUE, setupTime, double, 0.0)                         \
  ATTR(VALUE, upTime, double, 0.0)                            \
  ATTR(VALUE, expiryTime, double, 0.0)                        \
  ATTR(VALUE, expires, double, 0.0)

class ROUTING_API ElectedBsrStatus : public Entity {
  ROUTING_KEY(ElectedBsrStatus, IpGenPrefix, zone)
  ROUTING_ENTITY(ElectedBsrStatus, PIM_BSR_ELECTED_BSR_STATUS)
};

/// The interfaces that are BSR borders for a group prefix; the whole multicast range stands for all
/// groups.
#define PIM_BSR_BORDER(ATTR) ATTR(SET, intfId, IntfId)

class ROUTING_API PimBsrBorder : public Entity {
  ROUTING_KEY(PimBsrBorder, IpGenPrefix, prefix)
  ROUTING_ENTITY(PimBsrBorder, PIM_BSR_BORDER)
};

/// The RP set of a zone.
#define PIM_BSR_RP_CANDIDATE_STATUS(ATTR) ATTR(CHILD, status, Status, VrfName, RpCandidateStatus)

class ROUTING_API PimBsrRpCandidateStatus : public Entity {
  ROUTING_KEY(PimBsrRpCandidateStatus, IpGenPrefix, zone)
  ROUTING_ENTITY(PimBsrRpCandidateStatus, PIM_BSR_RP_CANDIDATE_STATUS)
};

/// Messages received (rx...) and handed to the packet layer (tx...).
#define PIM_BSR_COUNTERS(ATTR)   \
  ATTR(COUNTER, rx)              \
  ATTR(COUNTER, rxError)         \
  ATTR(COUNTER, rxSuccess)       \
  ATTR(COUNTER, rxBsm)           \
  ATTR(COUNTER, rxBsmSuccess)    \
  ATTR(COUNTER, rxBsmError)      \
  ATTR(COUNTER, rxCrpAdv)        \
  ATTR(COUNTER, rxCrpAdvSuccess) \
  ATTR(COUNTER, rxCrpAdvError)   \
  ATTR(COUNTER, tx)              \
  ATTR(COUNTER, txSuccess)       \
  ATTR(COUNTER, txError)         \
  ATTR(VALUE, errCounters, PimBsrErrorCounters, {})

class ROUTING_API PimBsrCounters : public Entity {
  ROUTING_KEY(PimBsrCounters, std::string, name)
  ROUTING_ENTITY(PimBsrCounters, PIM_BSR_COUNTERS)
};

#define PIM_BSR_STATUS(ATTR)                                                        \
  ATTR(VALUE, af, AddressFamily, AddressFamily::unset)                              \
  ATTR(VALUE, bsTimeout, std::uint32_t, 0)                                          \
  ATTR(VALUE, szTimeout, std::uint32_t, 0)                                          \
  ATTR(COLLECTION, bsBorder, BsBorder, IpGenPrefix, PimBsrBorder)                   \
  ATTR(MAP, zoneGroup, IpGenPrefix, IntfId)                                         \
  ATTR(MAP, zoneAcl, std::string, IntfId)                                           \
  ATTR(COLLECTION, bootstrapRouter, BootstrapRouter, IpGenPrefix, ElectedBsrStatus) \
  ATTR(COLLECTION, cbsr, Cbsr, IpGenPrefix, BsrCandidate)                           \
  ATTR(COLLECTION, crp, Crp, IpGenAddr, RpCandidate)                                \
  ATTR(SET, crpPermit, IpGenPrefix)                                                 \
  ATTR(COLLECTION, crpStatus, CrpStatus, IpGenPrefix, PimBsrRpCandidateStatus)      \
  ATTR(CHILD, counters, Counters, std::string, PimBsrCounters)

class ROUTING_API Status : public Entity {
  ROUTING_KEY(Status, VrfName, vrfName)
  ROUTING_ENTITY(Status, PIM_BSR_STATUS)

 public:
  /// Creates the counters, or returns them.
  std::shared_ptr<PimBsrCounters> countersIs(const std::string& name) { return newCounters(name); }
};

}  // namespace Routing::Pim::Bsr
