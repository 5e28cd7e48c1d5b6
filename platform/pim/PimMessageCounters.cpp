#include "platform/pim/PimMessageCounters.h"

namespace Routing::Pim {

ROUTING_ENTITY_DEFINE("Routing::Pim::", PimMessageCounters, ROUTING_PIM_MESSAGE_COUNTERS)

void PimMessageCounters::rxDroppedInc(std::string_view reason) {
  const std::string key(reason);
  const std::uint32_t* count = rxDropped(key);
  rxDroppedIs(key, count == nullptr ? 1 : *count + 1);
}

void clearMessageCounters(PimMessageCounters& counters) {
  using Counters = PimMessageCounters;
  const Entity::Watch watch(counters);
  for (const auto set : {&Counters::rxHelloIs, &Counters::rxBootstrapIs, &Counters::rxCrpAdvIs,
                         &Counters::rxOtherIs, &Counters::txHelloIs, &Counters::txBootstrapIs,
                         &Counters::txCrpAdvIs, &Counters::txErrorIs}) {
    if (watch.alive()) (counters.*set)(0);
  }
  if (watch.alive()) counters.rxDroppedDelAll();
}

}  // namespace Routing::Pim
