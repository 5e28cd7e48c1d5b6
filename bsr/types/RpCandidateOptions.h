#pragma once

#include <string>

#include "platform/entity/Schema.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/pim/PimTypes.h"

namespace Routing::Pim::Bsr {

/// Options of one group range of a candidate RP; priority 256 means that none was given.
#define PIM_BSR_RP_CANDIDATE_ENTRY_OPTIONS(ATTR) ATTR(VALUE, priority, RpPriority, {})

class ROUTING_API RpCandidateGroupEntryOptions : public Entity {
  ROUTING_KEY(RpCandidateGroupEntryOptions, IpGenPrefix, prefix)
  ROUTING_ENTITY(RpCandidateGroupEntryOptions, PIM_BSR_RP_CANDIDATE_ENTRY_OPTIONS)
};

/// The same for an access list whose permitted prefixes are the group ranges.
class ROUTING_API RpCandidateAclEntryOptions : public Entity {
  ROUTING_KEY(RpCandidateAclEntryOptions, std::string, aclName)
  ROUTING_ENTITY(RpCandidateAclEntryOptions, PIM_BSR_RP_CANDIDATE_ENTRY_OPTIONS)
};

}  // namespace Routing::Pim::Bsr
