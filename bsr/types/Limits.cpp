#include "bsr/types/Limits.h"

namespace Routing::Pim::Bsr {

ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", PimBsrLimits, PIM_BSR_LIMITS)

}  // namespace Routing::Pim::Bsr
