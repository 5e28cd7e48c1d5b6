#include "platform/net/SourceIntfSm.h"

namespace Routing {

ROUTING_ENTITY_DEFINE("Routing::", SourceIntfSm, ROUTING_SOURCE_INTF_SM)

}  // namespace Routing
