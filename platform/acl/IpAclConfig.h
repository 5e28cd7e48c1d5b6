#pragma once

#include <string>

#include "platform/acl/AclRule.h"
#include "platform/entity/Schema.h"

namespace Routing {

/// An access list: rules that are tried in the order of their sequence numbers until one speaks of
/// the address, and a deny behind the last. While `editing` is true, rule changes belong together
/// and readers wait for it to become false. Remarks mean nothing.
#define ROUTING_ACL_CONFIG(ATTR)                \
  ATTR(VALUE, type, AclType, AclType::standard) \
  ATTR(VALUE, editing, bool, false)             \
  ATTR(MAP, rule, std::uint32_t, AclRule)       \
  ATTR(MAP, remark, std::uint32_t, std::string)

class ROUTING_API AclConfig : public Entity {
  ROUTING_KEY(AclConfig, std::string, aclName)
  ROUTING_ENTITY(AclConfig, ROUTING_ACL_CONFIG)
};

/// The access lists of one address family, by name.
#define ROUTING_IP_ACL_CONFIG(ATTR) ATTR(COLLECTION, acl, Acl, std::string, AclConfig)

class ROUTING_API IpAclConfig : public Entity {
  ROUTING_KEY(IpAclConfig, AddressFamily, af)
  ROUTING_ENTITY(IpAclConfig, ROUTING_IP_ACL_CONFIG)
};

}  // namespace Routing
