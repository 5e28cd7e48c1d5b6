#include "platform/pim/hello/DrElection.h"

#include <algorithm>
#include <utility>

namespace Routing::Pim {

IpGenAddr electDr(const PimInterface& intf) {
  if (!intf.running()) return {};
  const bool byPriority = std::ranges::all_of(
      intf.neighbor(), [](const auto& entry) { return entry.second->drPriorityPresent(); });
  const auto rank = [byPriority](std::uint32_t priority, const IpGenAddr& address) {
    return std::pair(byPriority ? priority : 0, address);
  };
  auto best = rank(intf.drPriority(), intf.address());
  for (const auto& [address, neighbor] : intf.neighbor()) {
    best = std::max(best, rank(neighbor->drPriority(), address));
  }
  return best.second;
}

}  // namespace Routing::Pim
