#pragma once

#include "platform/entity/Schema.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/VrfName.h"

namespace Routing {

/// The addresses that the interfaces of one VRF give to what runs on them, for one address family.
/// An interface without entry, or with the all-zero address, has none. `initialDumpDone` rises once
/// every interface that existed at the start has been reported: what has no address then, has none.
#define ROUTING_SOURCE_INTF_SM(ATTR)    \
  ATTR(MAP, address, IntfId, IpGenAddr) \
  ATTR(VALUE, initialDumpDone, bool, false)

class ROUTING_API SourceIntfSm : public Entity {
  ROUTING_KEY(SourceIntfSm, VrfName, vrfName)
  ROUTING_ENTITY(SourceIntfSm, ROUTING_SOURCE_INTF_SM)

 public:
  /// The interface's address; unset if it has none.
  IpGenAddr addressOf(const IntfId& intf) const {
    const IpGenAddr* found = address(intf);
    return found == nullptr || found->isUnset() ? IpGenAddr{} : *found;
  }
};

}  // namespace Routing
