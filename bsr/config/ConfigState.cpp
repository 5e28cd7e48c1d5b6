#include "bsr/config/ConfigState.h"

namespace Routing::Pim::Bsr {

ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", BsrConfigAcl, PIM_BSR_CONFIG_ACL)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", BsrBorderPrefixRefCount, PIM_BSR_PREFIX_REF_COUNT)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", BsrCandidatePrefixRefCount, PIM_BSR_PREFIX_REF_COUNT)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", RpCandidatePrefixRefCount, PIM_BSR_PREFIX_REF_COUNT)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", ConfigState, PIM_BSR_CONFIG_STATE)

}  // namespace Routing::Pim::Bsr
