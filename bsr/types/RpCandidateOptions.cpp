#include "bsr/types/RpCandidateOptions.h"

namespace Routing::Pim::Bsr {

ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", RpCandidateGroupEntryOptions,
                      PIM_BSR_RP_CANDIDATE_ENTRY_OPTIONS)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", RpCandidateAclEntryOptions,
                      PIM_BSR_RP_CANDIDATE_ENTRY_OPTIONS)

}  // namespace Routing::Pim::Bsr
