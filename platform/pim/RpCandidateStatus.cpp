#include "platform/pim/RpCandidateStatus.h"

namespace Routing::Pim {

ROUTING_ENTITY_DEFINE("Routing::Pim::", RpEntry, ROUTING_PIM_RP_ENTRY)
ROUTING_ENTITY_DEFINE("Routing::Pim::", RpCandidateSet, ROUTING_PIM_RP_CANDIDATE_SET)
ROUTING_ENTITY_DEFINE("Routing::Pim::", RpCandidateStatus, ROUTING_PIM_RP_CANDIDATE_STATUS)

}  // namespace Routing::Pim
