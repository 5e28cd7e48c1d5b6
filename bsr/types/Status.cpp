#include "bsr/types/Status.h"

namespace Routing::Pim::Bsr {

ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", BsrCandidate, PIM_BSR_CANDIDATE)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", RpCandidate, PIM_BSR_RP_CANDIDATE)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", ElectedBsrStatus, PIM_BSR_ELECTED_BSR_STATUS)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", PimBsrBorder, PIM_BSR_BORDER)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", PimBsrRpCandidateStatus, PIM_BSR_RP_CANDIDATE_STATUS)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", PimBsrCounters, PIM_BSR_COUNTERS)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", Status, PIM_BSR_STATUS)

}  // namespace Routing::Pim::Bsr
