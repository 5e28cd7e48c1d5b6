#pragma once

#include "platform/entity/Schema.h"
#include "platform/net/IntfId.h"

namespace Routing::Pim {

/// State of one interface of the router, whether PIM runs on it or not. `mtu` is in octets and
/// bounds an IP datagram; 0 means that it is not known.
#define ROUTING_INTF_STATUS(ATTR) \
  ATTR(VALUE, up, bool, false)    \
  ATTR(VALUE, mtu, std::uint32_t, 0)

class ROUTING_API IntfStatus : public Entity {
  ROUTING_KEY(IntfStatus, IntfId, intfId)
  ROUTING_ENTITY(IntfStatus, ROUTING_INTF_STATUS)
};

/// The interface status directory of the router.
#define ROUTING_ALL_INTF_STATUS_DIR(ATTR) \
  ATTR(COLLECTION, intfStatus, IntfStatus, IntfId, IntfStatus)

class ROUTING_API AllIntfStatusDir : public Entity {
 public:
  ROUTING_ENTITY(AllIntfStatusDir, ROUTING_ALL_INTF_STATUS_DIR)
};

}  // namespace Routing::Pim
