#include "platform/pim/PimStatus.h"

#include <utility>

#include "platform/entity/FirstError.h"

namespace Routing::Pim {

ROUTING_ENTITY_DEFINE("Routing::Pim::", PimNeighbor, ROUTING_PIM_NEIGHBOR)
ROUTING_ENTITY_DEFINE("Routing::Pim::", PimInterface, ROUTING_PIM_INTERFACE)
ROUTING_ENTITY_DEFINE("Routing::Pim::", PimStatus, ROUTING_PIM_STATUS)

std::shared_ptr<PimNeighbor> PimInterface::neighborOf(const IpGenAddr& address) const {
  if (const auto& primary = neighbor(address)) return primary;
  for (const auto& [key, candidate] : neighbor()) {
    if (candidate->secondaryAddress(address)) return candidate;
  }
  return nullptr;
}

void PimInterface::drIs(const IpGenAddr& dr, bool own) {
  const bool drChanged = std::exchange(usedDr_, dr) != dr;
  const bool ownChanged = std::exchange(isDr_, own) != own;
  const Watch watch(*this);
  FirstError error;
  if (drChanged) error.run([&] { changed(Attr::usedDr, nullptr); });
  if (ownChanged && watch.alive()) error.run([&] { changed(Attr::isDr, nullptr); });
  error.rethrow();
}

}  // namespace Routing::Pim
