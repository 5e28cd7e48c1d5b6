#pragma once

#include <cstdint>
#include <string>

#include "bsr/types/PimBsr.h"
#include "bsr/types/RpCandidateOptions.h"
#include "platform/entity/Schema.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/net/VrfName.h"
#include "platform/pim/PimTypes.h"

/// The configuration of the BSR mechanism, as the management layer writes it. The engine never
/// reads it: configuration processing turns it into the status.
namespace Routing::Pim::Bsr {

/// Values that the management layer writes where the user gives none, and the bounds that the
/// settings of a candidate BSR have.
struct BsrCandidateDefaults {
  static constexpr std::uint16_t priorityUnknown = Bsr::priorityUnknown;
  static constexpr std::uint16_t priorityDefault = 64;
  static constexpr std::uint32_t hashMaskLenUnknown = Bsr::hashMaskLenUnknown;
  static constexpr std::uint32_t hashMaskLenDefault = 30;
  static constexpr std::uint32_t intervalDefault = 60;
  static constexpr std::uint32_t minInterval = 10;
  static constexpr std::uint32_t maxInterval = 536870906;
};

/// Settings of a candidate BSR (RFC 5059 section 5), the same for a zone given by prefix and for
/// the zones that an access list permits. While priority is 256 or the hash mask length 128 the
/// entry is incomplete and makes no candidate. `interval` is in seconds.
#define PIM_BSR_CANDIDATE_SETTINGS(ATTR, Type)                                \
  ATTR(BOUNDED, priority, std::uint16_t, Type::priorityUnknown, 0, 256)       \
  ATTR(BOUNDED, hashMaskLen, std::uint32_t, Type::hashMaskLenUnknown, 0, 128) \
  ATTR(BOUNDED, interval, std::uint32_t, Type::intervalDefault, Type::minInterval, 536870906)

/// A zone of a candidate BSR.
#define PIM_BSR_CANDIDATE_GROUP(ATTR) PIM_BSR_CANDIDATE_SETTINGS(ATTR, BsrCandidateGroup)
class ROUTING_API BsrCandidateGroup : public Entity, public BsrCandidateDefaults {
  ROUTING_KEY(BsrCandidateGroup, IpGenPrefix, prefix)
  ROUTING_ENTITY(BsrCandidateGroup, PIM_BSR_CANDIDATE_GROUP)
};

/// An access list whose permitted group prefixes are zones of a candidate BSR.
#define PIM_BSR_CANDIDATE_ACL(ATTR) PIM_BSR_CANDIDATE_SETTINGS(ATTR, BsrCandidateAcl)
class ROUTING_API BsrCandidateAcl : public Entity, public BsrCandidateDefaults {
  ROUTING_KEY(BsrCandidateAcl, std::string, aclName)
  ROUTING_ENTITY(BsrCandidateAcl, PIM_BSR_CANDIDATE_ACL)
};

/// An interface whose address is a candidate BSR. A zone may be claimed by one interface only.
#define PIM_BSR_CANDIDATE_CONFIG(ATTR)                           \
  ATTR(COLLECTION, group, Group, IpGenPrefix, BsrCandidateGroup) \
  ATTR(COLLECTION, acl, Acl, std::string, BsrCandidateAcl)
class ROUTING_API BsrCandidateConfig : public Entity {
  ROUTING_KEY(BsrCandidateConfig, IntfId, intfId)
  ROUTING_ENTITY(BsrCandidateConfig, PIM_BSR_CANDIDATE_CONFIG)
};

/// An interface whose address is a candidate RP: group ranges, access lists whose permitted group
/// prefixes are ranges too, and their priorities. A range to which nothing gives a priority is not
/// advertised; the management layer is to write one (192 where the user gives none).
#define PIM_BSR_RP_CANDIDATE_CONFIG(ATTR)                                           \
  ATTR(SET, groupRange, IpGenPrefix)                                                \
  ATTR(SET, acl, std::string)                                                       \
  ATTR(COLLECTION, groupRangeOptions, GroupRangeOptions, IpGenPrefix,               \
       RpCandidateGroupEntryOptions)                                                \
  ATTR(COLLECTION, aclOptions, AclOptions, std::string, RpCandidateAclEntryOptions) \
  ATTR(VALUE, advInterval, CrpAdvInterval, {})                                      \
  ATTR(VALUE, mode, PimMode, PimMode::sparse)
class ROUTING_API RpCandidateConfig : public Entity {
  ROUTING_KEY(RpCandidateConfig, IntfId, intfId)
  ROUTING_ENTITY(RpCandidateConfig, PIM_BSR_RP_CANDIDATE_CONFIG)
};

/// BSR border settings of an interface: for group prefixes, and for those that access lists permit.
#define PIM_BSR_INTF_CONFIG(ATTR)      \
  ATTR(SET, bsrBorderGrp, IpGenPrefix) \
  ATTR(SET, bsrBorderAcl, std::string)
class ROUTING_API IntfConfig : public Entity {
  ROUTING_KEY(IntfConfig, std::string, intfName)
  ROUTING_ENTITY(IntfConfig, PIM_BSR_INTF_CONFIG)
};

/// The border settings of a VRF's interfaces, by interface name. They belong to the collection of
/// all interfaces; who deletes one there takes it out here as well.
#define PIM_BSR_VRF_INTF_CONFIG(ATTR) ATTR(REFERENCES, intfConfig, std::string, IntfConfig)
class ROUTING_API VrfIntfConfig : public Entity {
  ROUTING_KEY(VrfIntfConfig, std::string, name)
  ROUTING_ENTITY(VrfIntfConfig, PIM_BSR_VRF_INTF_CONFIG)
};

/// The configuration of one VRF and address family. `holdTime` is the bootstrap time-out and
/// `szTimeout` the scope-zone time-out in seconds (RFC 5059 section 5); `crpFilterAcl` names the
/// access lists that say from which RP addresses advertisements are accepted.
///
/// While `editing` is true, changes of this configuration, of the border settings of its VRF and of
/// the access lists of its family belong together: candidates, borders and the filter stay as they
/// are, and change once, by the difference, when it becomes false.
#define PIM_BSR_CONFIG(ATTR)                                                                 \
  ATTR(BOUNDED, holdTime, std::uint32_t, Config::holdTimeDefault, 12, 1073741823)            \
  ATTR(BOUNDED, szTimeout, std::uint32_t, Config::szTimeoutDefault, 120, 0xFFFFFFFF)         \
  ATTR(COLLECTION, rpCandidateConfig, RpCandidateConfig, IntfId, class RpCandidateConfig)    \
  ATTR(COLLECTION, bsrCandidateConfig, BsrCandidateConfig, IntfId, class BsrCandidateConfig) \
  ATTR(SET, crpFilterAcl, std::string)                                                       \
  ATTR(VALUE, editing, bool, false)
class ROUTING_API Config : public Entity {
  ROUTING_KEY(Config, VrfName, vrfName)
  ROUTING_ENTITY(Config, PIM_BSR_CONFIG)

 public:
  static constexpr std::uint32_t holdTimeDefault = 130;
  static constexpr std::uint32_t szTimeoutDefault = 1300;
  /// The least scope-zone time-out for a hold time: a zone outlasts ten lifetimes of its BSR
  /// (RFC 5059 section 5). It may be more than fits `szTimeout`.
  static constexpr std::uint64_t leastSzTimeout(std::uint32_t holdTime) {
    return 10 * std::uint64_t{holdTime};
  }
};

/// Requests of one VRF: each increase of `countersCount` asks for its counters to be cleared.
#define PIM_BSR_CLEAR_CONFIG(ATTR) ATTR(COUNTER, countersCount)
class ROUTING_API ClearConfig : public Entity {
  ROUTING_KEY(ClearConfig, VrfName, vrfName)
  ROUTING_ENTITY(ClearConfig, PIM_BSR_CLEAR_CONFIG)
};

}  // namespace Routing::Pim::Bsr
