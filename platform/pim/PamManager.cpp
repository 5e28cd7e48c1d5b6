#include "platform/pim/PamManager.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "platform/pim/PimCodec.h"
#include "platform/pim/wire/PimChecksum.h"
#include "platform/trace/Trace.h"

namespace Routing::Pim {
namespace {
TraceHandle trace("Pim::Packet");
}  // namespace

PamManager::PamManager(AddressFamily af, std::shared_ptr<const PimStatus> pimStatus,
                       std::shared_ptr<PimRpfTable> rpfTable, PacketPort& port)
    : af_(af),
      pimStatus_(std::move(pimStatus)),
      rpfTable_(std::move(rpfTable)),
      port_(port),
      counters_(std::make_shared<PimMessageCounters>()),
      bsmRxInfo_(std::make_shared<MessageInfo>()),
      bsmTxInfo_(std::make_shared<MessageInfo>([this](const auto& info) { return sendBsm(info); })),
      crpRxInfo_(std::make_shared<MessageInfo>()),
      crpTxInfo_(
          std::make_shared<MessageInfo>([this](const auto& info) { return sendCrpAdv(info); })) {}

PamManager::~PamManager() {
  for (const auto& info : {bsmTxInfo_, crpTxInfo_}) {
    info->handOffIs([](const MessageInfo&) { return false; });
  }
}

void PamManager::receive(const ReceivedPacket& packet) {
  if (packet.source.af() != af_) return drop(packet, DropReason::badFamily);
  const DecodeResult result = decode(packet.payload, packet.source, packet.destination);
  if (const auto* reason = std::get_if<DropReason>(&result)) {
    drop(packet, *reason);
  } else if (const auto* hello = std::get_if<std::shared_ptr<HelloMessage>>(&result)) {
    deliver(packet, *hello);
  } else if (const auto* bsm = std::get_if<std::shared_ptr<BootstrapMessage>>(&result)) {
    deliver(packet, *bsm);
  } else if (const auto* adv = std::get_if<std::shared_ptr<CrpAdvMessage>>(&result)) {
    deliver(packet, *adv);
  } else {
    counters_->rxOtherInc();
  }
}

void PamManager::drop(const ReceivedPacket& packet, DropReason fault) {
  drop(packet, DropCode::malformed, dropReasonText(fault), fault);
}

void PamManager::drop(const ReceivedPacket& packet, DropCode code, std::string_view reason,
                      DropReason fault) {
  ROUTING_TRACE(trace, 1, pimStatus_->vrfName(), " RX - Dropping packet from ", packet.source,
                " to ", packet.destination, " on ", packet.intf, ": ", reason);
  drops_.add({.code = code, .fault = fault, .intf = packet.intf, .source = packet.source});
  if (InterfaceTally* tally = this->tally(packet.intf)) ++tally->rxDropped;
  counters_->rxDroppedInc(reason);
}

void PamManager::helloRefused(const IntfId& intf, const IpGenAddr& source, DropCode code) {
  drops_.add({.code = code, .intf = intf, .source = source});
  if (InterfaceTally* tally = this->tally(intf)) ++tally->rxDropped;
  counters_->rxDroppedInc(enumName(code));
}

InterfaceTally* PamManager::tally(const IntfId& intf) {
  if (intf.isUnset()) return nullptr;
  const auto& known = pimStatus_->pimIntf(intf);
  return known ? &tally(known) : nullptr;
}

InterfaceTally& PamManager::tally(const std::shared_ptr<PimInterface>& intf) {
  const auto at = std::ranges::lower_bound(counted_, intf, {}, &Counted::intf);
  return at != counted_.end() && at->intf == intf ? *at->tally : newCounted(intf);
}

// Those that have gone meanwhile make room.
InterfaceTally& PamManager::newCounted(const std::shared_ptr<PimInterface>& intf) {
  std::erase_if(counted_, [](const Counted& counted) { return counted.intf->parent() == nullptr; });
  InterfaceTally& tally = tallies_[intf->intfId()];
  const auto at = std::ranges::lower_bound(counted_, intf, {}, &Counted::intf);
  counted_.insert(at, {intf, &tally});
  return tally;
}

/// The interface, or the one that has its name now; null if none has.
const std::shared_ptr<PimInterface>& PamManager::current(
    const std::shared_ptr<PimInterface>& intf) const {
  return intf->parent() == pimStatus_.get() ? intf : pimStatus_->pimIntf(intf->intfId());
}

void PamManager::deliver(const ReceivedPacket& packet, const std::shared_ptr<HelloMessage>& hello) {
  const std::shared_ptr<PimInterface> intf = pimStatus_->pimIntf(packet.intf);
  if (!intf) return drop(packet, DropCode::noPimInterface);
  if (packet.source == intf->address() && !intf->helloPassive()) {
    return drop(packet, DropCode::ownPacket);
  }
  const auto self = weak_from_this().lock();
  ++tally(intf).rxHello;
  counters_->rxHelloInc();
  const HelloReceiver receiver = helloReceiver_;  // callable to the end, whoever dies
  if (receiver) receiver(*intf, *hello);
}

void PamManager::deliver(const ReceivedPacket& packet,
                         const std::shared_ptr<BootstrapMessage>& bsm) {
  const auto& intf = pimStatus_->pimIntf(packet.intf);
  if (!intf) return drop(packet, DropCode::noPimInterface);
  if (packet.source == intf->address()) return drop(packet, DropCode::ownPacket);
  if (!intf->neighbor(packet.source)) return drop(packet, DropCode::notNeighbor);
  const auto info = bsmRxInfo_;
  ++tally(intf).rxBootstrap;
  counters_->rxBootstrapInc();
  publish(*info, packet, bsm);
}

void PamManager::deliver(const ReceivedPacket& packet, const std::shared_ptr<CrpAdvMessage>& adv) {
  const auto info = crpRxInfo_;
  if (InterfaceTally* tally = this->tally(packet.intf)) ++tally->rxCrpAdv;
  counters_->rxCrpAdvInc();
  publish(*info, packet, adv);
}

void PamManager::publish(MessageInfo& info, const ReceivedPacket& packet,
                         const std::shared_ptr<PimMessage>& message) {
  info.intfIdIs(packet.intf);
  info.neighborAddrIs(packet.source);
  info.messageIs(message);
  info.countInc(1);
}

bool PamManager::sendHello(const std::shared_ptr<PimInterface>& intf, const HelloMessage& hello) {
  const bool sent = sendOnLink(current(intf), hello);
  if (const auto& counted = current(intf)) {
    ++(sent ? tally(counted).txHello : tally(counted).txError);
  }
  sent ? counters_->txHelloInc() : counters_->txErrorInc();
  return sent;
}

bool PamManager::sendBsm(const MessageInfo& info) {
  const bool sent =
      info.message() && sendOnLink(pimStatus_->pimIntf(info.intfId()), *info.message());
  if (InterfaceTally* tally = this->tally(info.intfId())) {
    ++(sent ? tally->txBootstrap : tally->txError);
  }
  sent ? counters_->txBootstrapInc() : counters_->txErrorInc();
  return sent;
}

bool PamManager::sendCrpAdv(const MessageInfo& info) {
  const auto& message = info.message();
  const bool sent =
      message && send(info.intfId(), *message, message->source(), message->destination());
  sent ? counters_->txCrpAdvInc() : counters_->txErrorInc();
  return sent;
}

bool PamManager::sendOnLink(const std::shared_ptr<PimInterface>& intf, const PimMessage& message) {
  return intf && !intf->address().isUnset() &&
         send(intf->intfId(), message, intf->address(), allPimRouters(af_));
}

// What goes out on several interfaces is encoded once; an IPv6 checksum is of the addresses too.
bool PamManager::send(const IntfId& intf, const PimMessage& message, const IpGenAddr& source,
                      const IpGenAddr& destination) {
  std::vector<std::uint8_t> octets = std::exchange(octets_, {});  // the port may send another
  const std::uint64_t content = contentOf(message);
  const std::uint64_t before = std::exchange(content_, 0);
  const bool known = content != 0 && content == before && source.af() == destination.af();
  if (known && af_ == AddressFamily::ipv6) pimChecksumIs(octets, source, destination);
  const bool encoded = known || encode(message, source, destination, octets);
  const bool sent = encoded && port_.send({intf, source, destination, octets});
  octets_ = std::move(octets);
  content_ = encoded ? content : 0;
  return sent;
}

// 0 for a message of another kind.
std::uint64_t PamManager::contentOf(const PimMessage& message) {
  return message.type() == PimType::bootstrap
             ? static_cast<const BootstrapMessage&>(message).content()
             : 0;
}

}  // namespace Routing::Pim
