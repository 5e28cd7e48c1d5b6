#include "platform/acl/IpAclConfig.h"

namespace Routing {

ROUTING_ENTITY_DEFINE("Routing::", AclConfig, ROUTING_ACL_CONFIG)
ROUTING_ENTITY_DEFINE("Routing::", IpAclConfig, ROUTING_IP_ACL_CONFIG)

}  // namespace Routing
