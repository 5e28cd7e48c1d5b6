#include "platform/pim/AllIntfStatusDir.h"

namespace Routing::Pim {

ROUTING_ENTITY_DEFINE("Routing::Pim::", IntfStatus, ROUTING_INTF_STATUS)
ROUTING_ENTITY_DEFINE("Routing::Pim::", AllIntfStatusDir, ROUTING_ALL_INTF_STATUS_DIR)

}  // namespace Routing::Pim
