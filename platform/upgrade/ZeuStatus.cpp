#include "platform/upgrade/ZeuStatus.h"

namespace Routing {

ROUTING_ENTITY_DEFINE("Routing::", ZeuShutdownStatus, ROUTING_ZEU_SHUTDOWN_STATUS)
ROUTING_ENTITY_DEFINE("Routing::", ZeuVrfStatus, ROUTING_ZEU_VRF_STATUS)

}  // namespace Routing
