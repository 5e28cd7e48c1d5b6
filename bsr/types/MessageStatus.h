#pragma once

#include <memory>

#include "bsr/types/PimBsr.h"
#include "platform/entity/Schema.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/pim/wire/BootstrapMessage.h"
#include "platform/pim/wire/CrpAdvMessage.h"

/// The channels through which messages pass between intake and engine. A writer sets the field on
/// which the reader reacts last: `rxBsm`, `readCount`, `writeCount`.
namespace Routing::Pim::Bsr {

/// Bootstrap messages. `firstGroup` is the prefix of the first group range, none without ranges.
#define PIM_BSM_STATUS(ATTR)               \
  ATTR(VALUE, iifIntfId, IntfId, {})       \
  ATTR(VALUE, firstGroup, IpGenPrefix, {}) \
  ATTR(POINTER, rxBsm, BootstrapMessage)   \
  ATTR(POINTER, txBsm, BootstrapMessage)   \
  ATTR(VALUE, oifIntfId, IntfId, {})       \
  ATTR(COUNTER, writeCount)

class ROUTING_API PimBsmStatus : public Entity {
 public:
  ROUTING_ENTITY(PimBsmStatus, PIM_BSM_STATUS)
};

/// Candidate-RP advertisements. `readCount` rises once for each group range that is handed over in
/// `groupInfo`, `writeCount` once for each message to send.
#define PIM_CRP_MSG_STATUS(ATTR)         \
  ATTR(POINTER, groupInfo, CrpGroupInfo) \
  ATTR(VALUE, bsrIp, IpGenAddr, {})      \
  ATTR(VALUE, rp, IpGenAddr, {})         \
  ATTR(VALUE, priority, RpPriority, {})  \
  ATTR(VALUE, holdTime, CrpHoldTime, {}) \
  ATTR(COUNTER, readCount)               \
  ATTR(POINTER, rxCrpMsg, CrpAdvMessage) \
  ATTR(POINTER, txCrpMsg, CrpAdvMessage) \
  ATTR(COUNTER, writeCount)

class ROUTING_API PimCrpMsgStatus : public Entity {
 public:
  ROUTING_ENTITY(PimCrpMsgStatus, PIM_CRP_MSG_STATUS)
};

}  // namespace Routing::Pim::Bsr
