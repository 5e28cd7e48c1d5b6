#pragma once

#include "platform/entity/Schema.h"
#include "platform/net/VrfName.h"

/// What the upgrade controller shares with the machines that prepare a restart of the process.
namespace Routing {

/// `shutdown` is true from the moment the shutdown begins. The controller sets it back to false
/// before the new process attaches, which would otherwise shut down again.
#define ROUTING_ZEU_SHUTDOWN_STATUS(ATTR) ATTR(VALUE, shutdown, bool, false)

class ROUTING_API ZeuShutdownStatus : public Entity {
 public:
  ROUTING_ENTITY(ZeuShutdownStatus, ROUTING_ZEU_SHUTDOWN_STATUS)
};

/// The VRFs that are done, of one address family: each family has a status of its own, because an
/// entry says nothing of which family wrote it. The controller forgets a VRF that is deleted.
#define ROUTING_ZEU_VRF_STATUS(ATTR) ATTR(MAP, completedVrf, VrfName, bool)

class ROUTING_API ZeuVrfStatus : public Entity {
 public:
  ROUTING_ENTITY(ZeuVrfStatus, ROUTING_ZEU_VRF_STATUS)
};

}  // namespace Routing
