#include "bsr/intake/CrpMessageSm.h"

#include <utility>

#include "bsr/types/Traces.h"
#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {

CrpMessageSm::CrpMessageSm(std::shared_ptr<PamManager> pamManager,
                           std::shared_ptr<Status> bsrStatus,
                           std::shared_ptr<PimCrpMsgStatus> crpMsgStatus,
                           std::shared_ptr<MessageInfo> crpMsgInfo,
                           std::shared_ptr<const PimUcastRouteStatus> ucastRouteStatus,
                           std::shared_ptr<DeferredDelete> deferred)
    : pamManager_(std::move(pamManager)),
      bsrStatus_(std::move(bsrStatus)),
      crpMsgStatus_(std::move(crpMsgStatus)),
      crpMsgInfo_(std::move(crpMsgInfo)),
      ucastRouteStatus_(std::move(ucastRouteStatus)) {
  ROUTING_ASSERT_TEXT(bsrStatus_, "bsrStatus()");
  ROUTING_ASSERT_TEXT(crpMsgStatus_, "crpMsgStatus()");
  ROUTING_ASSERT_TEXT(crpMsgInfo_, "crpMsgInfo()");
  counters_ = bsrStatus_->counters();
  if (!deferred) deferred = std::make_shared<DeferredDelete>();
  reactors_.push_back(bsrStatus_->countersReactor([this] { counters_ = bsrStatus_->counters(); }));
  reactors_.push_back(
      crpMsgStatus_->writeCountReactor(deferred->held([this] { handleTransmission(); })));
  reactors_.push_back(crpMsgInfo_->countReactor(deferred->held([this] { handleCrpAdvMessage(); })));
  handleCrpAdvMessage();
  handleInitialize();
}

void CrpMessageSm::retire() {
  initialized_ = false;
  reactors_.clear();
}

void CrpMessageSm::handleInitialize() {
  BSR_TRACE(io, 9, "");
  ROUTING_ASSERT_TEXT(pamManager_, "pimPamManager()");
  ROUTING_ASSERT_TEXT(ucastRouteStatus_, "ucastRouteStatus()");
  const AddressFamily af = bsrStatus_->af();
  globalZone_ = IpGenPrefix::multicast(af);
  ROUTING_ASSERT_TEXT(!globalZone_.isNone(), "0 && \"Address Family unknown\"");
  crpPermitTrie_ =
      std::make_shared<TrieGen>(af == AddressFamily::ipv4 ? "CrpPermitTrie" : "CrpPermitTrie6", af);
  crpPermitTrieBuilder_ =
      std::make_unique<PimBsrCrpPermitTrieBuilderSm>(bsrStatus_, crpPermitTrie_);
  initialized_ = true;
}

// --- receiving --------------------------------------------------------------------------------

void CrpMessageSm::handleCrpAdvMessage() {
  BSR_TRACE(io, 9, "");
  handleCRPAdv(std::dynamic_pointer_cast<CrpAdvMessage>(crpMsgInfo_->message()));
}

void CrpMessageSm::handleCRPAdv(const std::shared_ptr<CrpAdvMessage>& message) {
  BSR_TRACE(io, 9, "");
  if (!message || !initialized_) return;
  if (counters_) {
    counters_->rxInc();
    counters_->rxCrpAdvInc();
  }
  if (!permitted(*message)) return;
  BSR_TRACE(io, 4, "RX - Accepted CrpAdv from ", message->source());
  crpMsgStatus_->bsrIpIs(message->destination());
  crpMsgStatus_->rpIs(message->rpAddress());
  crpMsgStatus_->priorityIs(RpPriority(message->priority()));
  crpMsgStatus_->holdTimeIs(CrpHoldTime(message->holdtime()));
  crpMsgStatus_->rxCrpMsgIs(message);
  const std::uint32_t mismatches = scopeMismatches();
  for (const CrpGroupInfo& range : message->groupData()) {
    if (initialized_) handOver(range);
  }
  if (message->groupData().empty()) {
    BSR_TRACE(io, 1,
              "RX - Received CRP Advertisement with 0 groups. Assuming 224.0.0.0/4 or ff00::/8");
    handOver(CrpGroupInfo(globalZone_));
  }
  if (scopeMismatches() != mismatches) note(*message, DropCode::notBsr);
  if (!counters_) return;
  counters_->rxCrpAdvSuccessInc();
  counters_->rxSuccessInc();
}

bool CrpMessageSm::permitted(const CrpAdvMessage& message) {
  const IpGenAddr& source = message.source();
  if (!crpPermitTrie_->longestMatch(IpGenPrefix::host(source)).isNone()) return true;
  BSR_TRACE(io, 1, "RX - Dropping CRP Adv since Crp Adv Message from ", source,
            " is not permitted");
  note(message, DropCode::filtered);
  if (!counters_) return false;
  counters_->rxErrorInc();
  counters_->rxCrpAdvErrorInc();
  PimBsrErrorCounters errors = counters_->errCounters();
  errors.rxFilterIs(errors.rxFilter() + 1);
  counters_->errCountersIs(errors);
  return false;
}

std::uint32_t CrpMessageSm::scopeMismatches() const {
  return counters_ ? counters_->errCounters().rxScopeMismatch() : 0;
}

void CrpMessageSm::note(const CrpAdvMessage& message, DropCode code) {
  pamManager_->drops().add({.code = code,
                            .intf = crpMsgInfo_->intfId(),
                            .source = message.source(),
                            .subject = message.rpAddress()});
}

void CrpMessageSm::handOver(const CrpGroupInfo& range) {
  crpMsgStatus_->groupInfoIs(std::make_shared<CrpGroupInfo>(range));
  crpMsgStatus_->readCountInc();
}

// --- sending ----------------------------------------------------------------------------------

void CrpMessageSm::handleTransmission() {
  BSR_TRACE(io, 9, "");
  if (!initialized_) {
    BSR_TRACE(io, 4, "Uninitialized. Not Sending");
    return;
  }
  const std::shared_ptr<CrpAdvMessage> message = crpMsgStatus_->txCrpMsg();
  if (!message) return;
  if (isLocalHost(message->destination())) {
    BSR_TRACE(io, 1, "TX - Sending CRP Advertisement locally");
    if (counters_) counters_->txSuccessInc();
    handleCRPAdv(message);
    return;
  }
  const auto& info = pamManager_->crpTxInfo();
  const std::uint32_t before = info->count();
  info->intfIdIs(IntfId{});  // routed by its destination
  info->messageIs(message);
  info->countInc(1);
  const bool sent = before < info->count();
  if (!sent) BSR_TRACE(io, 1, "TX - Error sending CRP Advertisement");
  if (!counters_) return;
  counters_->txInc();
  sent ? counters_->txSuccessInc() : counters_->txErrorInc();
}

// Only a host route that the forwarding table marks as local makes an address ours; a default route
// or a connected subnet does not.
bool CrpMessageSm::isLocalHost(const IpGenAddr& address) const {
  BSR_TRACE(io, 9, " ( ", address, " )");
  ROUTING_ASSERT_TEXT(address.af() != AddressFamily::unset, "0 && \"Address Family unknown\"");
  const IpGenPrefix host = IpGenPrefix::host(address);
  return ucastRouteStatus_->trie().longestMatch(host) == host &&
         ucastRouteStatus_->table().entry(host).kind == ForwardingKind::local;
}

}  // namespace Routing::Pim::Bsr
