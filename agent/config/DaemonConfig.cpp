#include "agent/config/DaemonConfig.h"

namespace Routing::Agent {

Pim::HelloConfig InterfaceSettings::hello() const {
  Pim::HelloConfig config;
  config.helloPeriod = helloInterval;
  config.holdtime = helloHoldtime;
  config.drPriority = drPriority;
  config.propagationDelay = propagationDelay;
  config.overrideInterval = overrideInterval;
  return config;
}

}  // namespace Routing::Agent
