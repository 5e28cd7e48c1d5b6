#include "config/entities/HelloSettings.h"

namespace Routing::Agent {
namespace {

std::optional<std::set<IpGenPrefix>> permittedNeighbors(const std::set<std::string>& names,
                                                        AddressFamily af, PermittedLists& lists) {
  if (names.empty()) return std::nullopt;
  std::set<IpGenPrefix> permitted;
  for (const std::string& name : names) {
    const AclPrefixes* list = lists.find(af, name);
    if (list != nullptr) permitted.insert(list->unicast.begin(), list->unicast.end());
  }
  return permitted;
}

}  // namespace

Pim::HelloConfig helloConfig(const InterfaceSettings& settings, AddressFamily af, double firstDelay,
                             PermittedLists& lists) {
  Pim::HelloConfig config;
  config.firstDelay = firstDelay;
  config.passive = settings.helloPassive;
  config.helloPeriod = settings.helloInterval;
  config.holdtime = settings.helloHoldtime;
  config.drPriority = settings.drPriority;
  config.propagationDelay = settings.propagationDelay;
  config.overrideInterval = settings.overrideInterval;
  config.neighbors = permittedNeighbors(settings.neighborFilter, af, lists);
  return config;
}

}  // namespace Routing::Agent
