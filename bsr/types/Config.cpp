#include "bsr/types/Config.h"

namespace Routing::Pim::Bsr {

ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", BsrCandidateGroup, PIM_BSR_CANDIDATE_GROUP)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", BsrCandidateAcl, PIM_BSR_CANDIDATE_ACL)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", BsrCandidateConfig, PIM_BSR_CANDIDATE_CONFIG)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", RpCandidateConfig, PIM_BSR_RP_CANDIDATE_CONFIG)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", IntfConfig, PIM_BSR_INTF_CONFIG)
// References are not logged, so there is nothing that a log could edit.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-parameter"
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", VrfIntfConfig, PIM_BSR_VRF_INTF_CONFIG)
#pragma GCC diagnostic pop
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", Config, PIM_BSR_CONFIG)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", ClearConfig, PIM_BSR_CLEAR_CONFIG)

}  // namespace Routing::Pim::Bsr
