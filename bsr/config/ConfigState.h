#pragma once

#include <string>

#include "platform/entity/Schema.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenPrefix.h"

/// What configuration processing knows between configuration and status: which access lists are in
/// use and what they permit, and how many configured items of an interface make a status entry. An
/// entry exists while its count is above zero.
namespace Routing::Pim::Bsr {

/// An access list that some BSR setting names: its permitted group prefixes (`grpPrefix`: zones,
/// border groups, ranges of candidate RPs) and unicast prefixes (`prefix`: RP addresses of the
/// filter), and who uses it.
#define PIM_BSR_CONFIG_ACL(ATTR)    \
  ATTR(SET, grpPrefix, IpGenPrefix) \
  ATTR(SET, prefix, IpGenPrefix)    \
  ATTR(SET, borderIntf, IntfId)     \
  ATTR(SET, cbsrIntf, IntfId)       \
  ATTR(SET, crpIntf, IntfId)        \
  ATTR(VALUE, usedByCrpAdvAclFilter, bool, false)
class ROUTING_API BsrConfigAcl : public Entity {
  ROUTING_KEY(BsrConfigAcl, std::string, aclName)
  ROUTING_ENTITY(BsrConfigAcl, PIM_BSR_CONFIG_ACL)

 public:
  bool inUse() const {
    return !borderIntf().empty() || !cbsrIntf().empty() || !crpIntf().empty() ||
           usedByCrpAdvAclFilter();
  }
};

#define PIM_BSR_PREFIX_REF_COUNT(ATTR) ATTR(MAP, counter, IpGenPrefix, std::uint32_t)

/// Border groups and border access lists of an interface, by prefix.
class ROUTING_API BsrBorderPrefixRefCount : public Entity {
  ROUTING_KEY(BsrBorderPrefixRefCount, IntfId, intfId)
  ROUTING_ENTITY(BsrBorderPrefixRefCount, PIM_BSR_PREFIX_REF_COUNT)
};

/// Candidate-BSR groups and access lists of an interface, by zone.
class ROUTING_API BsrCandidatePrefixRefCount : public Entity {
  ROUTING_KEY(BsrCandidatePrefixRefCount, IntfId, intfId)
  ROUTING_ENTITY(BsrCandidatePrefixRefCount, PIM_BSR_PREFIX_REF_COUNT)
};

/// Group ranges and access lists of a candidate-RP interface, by prefix.
class ROUTING_API RpCandidatePrefixRefCount : public Entity {
  ROUTING_KEY(RpCandidatePrefixRefCount, IntfId, intfId)
  ROUTING_ENTITY(RpCandidatePrefixRefCount, PIM_BSR_PREFIX_REF_COUNT)
};

/// All of it in one VRF and address family.
#define PIM_BSR_CONFIG_STATE(ATTR)                                                        \
  ATTR(COLLECTION, bsrConfigAcl, BsrConfigAcl, std::string, class BsrConfigAcl)           \
  ATTR(COLLECTION, borderPfxRefCount, BorderPfxRefCount, IntfId, BsrBorderPrefixRefCount) \
  ATTR(COLLECTION, cbsrPfxRefCount, CbsrPfxRefCount, IntfId, BsrCandidatePrefixRefCount)  \
  ATTR(COLLECTION, crpPfxRefCount, CrpPfxRefCount, IntfId, RpCandidatePrefixRefCount)     \
  ATTR(MAP, crpFilterAclPfxRefCount, IpGenPrefix, std::uint32_t)
class ROUTING_API ConfigState : public Entity {
 public:
  ROUTING_ENTITY(ConfigState, PIM_BSR_CONFIG_STATE)
};

}  // namespace Routing::Pim::Bsr
