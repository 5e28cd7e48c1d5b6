#include "agent/config/DaemonConfig.h"

namespace Routing::Agent {

Pim::HelloConfig InterfaceSettings::hello() const {
  Pim::HelloConfig config;
  config.firstDelay = 0.5;  // at once, so that neighbours prime a newcomer within six seconds
  config.helloPeriod = helloInterval;
  config.holdtime = helloHoldtime;
  config.drPriority = drPriority;
  config.propagationDelay = propagationDelay;
  config.overrideInterval = overrideInterval;
  return config;
}

}  // namespace Routing::Agent
