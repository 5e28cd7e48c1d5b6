#include "platform/pim/PimMessageCounters.h"

namespace Routing::Pim {

ROUTING_ENTITY_DEFINE("Routing::Pim::", PimMessageCounters, ROUTING_PIM_MESSAGE_COUNTERS)

void PimMessageCounters::rxDroppedInc(std::string_view reason) {
  const std::string key(reason);
  const std::uint32_t* count = rxDropped(key);
  rxDroppedIs(key, count == nullptr ? 1 : *count + 1);
}

void clearMessageCounters(PimMessageCounters& counters) {
  counters.rxHelloIs(0);
  counters.rxBootstrapIs(0);
  counters.rxCrpAdvIs(0);
  counters.rxOtherIs(0);
  counters.rxDroppedDelAll();
  counters.txHelloIs(0);
  counters.txBootstrapIs(0);
  counters.txCrpAdvIs(0);
  counters.txErrorIs(0);
}

}  // namespace Routing::Pim
