#include "agent/router/UpgradeController.h"

namespace Routing::Agent {

UpgradeController::UpgradeController() : shutdownStatus_(std::make_shared<ZeuShutdownStatus>()) {
  for (const AddressFamily af : {AddressFamily::ipv4, AddressFamily::ipv6}) {
    vrfStatus_[af] = std::make_shared<ZeuVrfStatus>();
  }
}

}  // namespace Routing::Agent
