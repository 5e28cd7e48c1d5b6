#pragma once

#include <string>

#include "platform/entity/Schema.h"
#include "platform/pim/DropReason.h"

namespace Routing::Pim {

/// Messages that the packet layer of one VRF and address family saw. `rxOther` counts types that
/// are not handled here; `rxDropped` counts by reason what was refused before it reached a reader.
#define ROUTING_PIM_MESSAGE_COUNTERS(ATTR)         \
  ATTR(COUNTER, rxHello)                           \
  ATTR(COUNTER, rxBootstrap)                       \
  ATTR(COUNTER, rxCrpAdv)                          \
  ATTR(COUNTER, rxOther)                           \
  ATTR(MAP, rxDropped, std::string, std::uint32_t) \
  ATTR(COUNTER, txHello)                           \
  ATTR(COUNTER, txBootstrap)                       \
  ATTR(COUNTER, txCrpAdv)                          \
  ATTR(COUNTER, txError)

class ROUTING_API PimMessageCounters : public Entity {
 public:
  ROUTING_ENTITY(PimMessageCounters, ROUTING_PIM_MESSAGE_COUNTERS)

 public:
  void rxDroppedInc(std::string_view reason);
};

/// Sets every counter to 0.
ROUTING_API void clearMessageCounters(PimMessageCounters& counters);

}  // namespace Routing::Pim
