#include "sim/invariants/QuietInvariant.h"

namespace Routing::Sim {

void QuietInvariant::settled(const std::vector<RouterId>&) {
  const std::pair state(beliefs_.changes(), world().lastDisturbance());
  if (seen_ == state || world().messagesInFlight() > 0) return;
  if (!settling_) settling_ = settlingTimes(world());
  if (world().now() < world().lastDisturbance() + settlingTime(*settling_)) return;
  seen_ = state;
  ++judged_;
  judge();
}

}  // namespace Routing::Sim
