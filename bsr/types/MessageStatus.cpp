#include "bsr/types/MessageStatus.h"

namespace Routing::Pim::Bsr {

ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", PimBsmStatus, PIM_BSM_STATUS)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", PimCrpMsgStatus, PIM_CRP_MSG_STATUS)

}  // namespace Routing::Pim::Bsr
