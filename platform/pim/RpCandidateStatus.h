#pragma once

#include "platform/entity/Schema.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/net/VrfName.h"
#include "platform/pim/PimTypes.h"

namespace Routing::Pim {

/// One RP of a group range. Instants are absolute seconds on the event loop's clock.
#define ROUTING_PIM_RP_ENTRY(ATTR)            \
  ATTR(VALUE, mode, PimMode, PimMode::sparse) \
  ATTR(VALUE, priority, RpPriority, {})       \
  ATTR(VALUE, holdTime, CrpHoldTime, {})      \
  ATTR(VALUE, hashMaskLen, RpHashMaskLen, {}) \
  ATTR(VALUE, setupTime, double, 0.0)         \
  ATTR(VALUE, expiryTime, double, 0.0)

class ROUTING_API RpEntry : public Entity {
  ROUTING_KEY(RpEntry, IpGenAddr, address)
  ROUTING_ENTITY(RpEntry, ROUTING_PIM_RP_ENTRY)
};

/// The RPs of one group range, in address order.
#define ROUTING_PIM_RP_CANDIDATE_SET(ATTR) ATTR(COLLECTION, rp, Rp, IpGenAddr, RpEntry)

class ROUTING_API RpCandidateSet : public Entity {
  ROUTING_KEY(RpCandidateSet, IpGenPrefix, prefix)
  ROUTING_ENTITY(RpCandidateSet, ROUTING_PIM_RP_CANDIDATE_SET)
};

/// A group-to-RP set: what PIM selects the RP of a group from.
#define ROUTING_PIM_RP_CANDIDATE_STATUS(ATTR)           \
  ATTR(VALUE, rpSetType, RpSetType, RpSetType::unknown) \
  ATTR(COLLECTION, crpSet, CrpSet, IpGenPrefix, RpCandidateSet)

class ROUTING_API RpCandidateStatus : public Entity {
  ROUTING_KEY(RpCandidateStatus, VrfName, vrfName)
  ROUTING_ENTITY(RpCandidateStatus, ROUTING_PIM_RP_CANDIDATE_STATUS)
};

}  // namespace Routing::Pim
