#pragma once

#include <functional>

#include "platform/entity/Schema.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenAddr.h"
#include "platform/pim/PimMessage.h"

namespace Routing::Pim {

/// One message on its way between the packet layer and a reader or writer of messages.
///
/// Receiving: the packet layer writes intfId, neighborAddr, message and then countInc(1), once a
/// datagram and with a new message object each time; a reader reacts to `count` alone.
/// Transmitting: the writer sets intfId (empty: routed by destination) and message, then
/// countInc(1) hands the message over. Its octets are taken at that moment, so that the object may
/// be changed afterwards. If the message cannot be sent the count stays.
#define ROUTING_PIM_MESSAGE_INFO(ATTR)     \
  ATTR(POINTER, message, PimMessage)       \
  ATTR(VALUE, intfId, IntfId, {})          \
  ATTR(VALUE, neighborAddr, IpGenAddr, {}) \
  ATTR(VALUE, count, std::uint32_t, 0)

class ROUTING_API MessageInfo : public Entity {
  ROUTING_ENTITY(MessageInfo, ROUTING_PIM_MESSAGE_INFO)

 public:
  /// Takes the message for transmission; false if it could not be sent.
  using HandOff = std::function<bool(const MessageInfo&)>;

  /// A receive info.
  MessageInfo() = default;
  /// A transmit info.
  explicit MessageInfo(HandOff handOff) : handOff_(std::move(handOff)) {}

  /// Another way out from now on.
  void handOffIs(HandOff handOff) { handOff_ = std::move(handOff); }

  void countInc(std::uint32_t n) {
    const Watch watch(*this);
    const HandOff handOff = handOff_;  // callable to the end, whoever dies
    const bool taken = !handOff || handOff(*this);
    if (taken && watch.alive()) countIs(count() + n);
  }

 private:
  HandOff handOff_;
};

}  // namespace Routing::Pim
