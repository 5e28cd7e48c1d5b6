#include "bsr/intake/BootstrapMessageSm.h"

#include <algorithm>
#include <utility>

#include "bsr/types/Traces.h"
#include "bsr/types/ZoneRules.h"
#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {
namespace {

constexpr std::size_t longMessage = 256;  // ranges and RPs

}  // namespace

/// A message under examination.
struct BootstrapMessageSm::Received {
  const std::shared_ptr<BootstrapMessage>& bsm;
  const IpGenAddr& source;
  const IntfId& intf;
  const IpGenPrefix& zone;
};

BootstrapMessageSm::BootstrapMessageSm(std::shared_ptr<PamManager> pamManager,
                                       std::shared_ptr<Status> bsrStatus,
                                       std::shared_ptr<PimBsmStatus> bsmStatus,
                                       std::shared_ptr<MessageInfo> bsmInfo, TimerWheel& timerWheel,
                                       std::shared_ptr<DeferredDelete> deferred)
    : pamManager_(std::move(pamManager)),
      bsrStatus_(std::move(bsrStatus)),
      bsmStatus_(std::move(bsmStatus)),
      bsmInfo_(std::move(bsmInfo)),
      timerWheel_(timerWheel) {
  ROUTING_ASSERT_TEXT(bsrStatus_, "bsrStatus()");
  counters_ = bsrStatus_->counters();
  if (!deferred) deferred = std::make_shared<DeferredDelete>();
  reactors_.push_back(bsrStatus_->countersReactor([this] { counters_ = bsrStatus_->counters(); }));
  reactors_.push_back(
      bsmStatus_->writeCountReactor(deferred->held([this] { handleTransmission(); })));
  reactors_.push_back(bsmInfo_->countReactor(deferred->held([this] { handleBootstrapMessage(); })));
  handleBootstrapMessage();
  handleInitialize();
}

void BootstrapMessageSm::retire() {
  initialized_ = false;
  reactors_.clear();
}

void BootstrapMessageSm::handleInitialize() {
  BSR_TRACE(io, 9, "");
  ROUTING_ASSERT_TEXT(pamManager_ && pamManager_->rpfTable(), "rpfTable()");
  startupTime_ = timerWheel_.now();
  globalZone_ = IpGenPrefix::multicast(bsrStatus_->af());
  ROUTING_ASSERT_TEXT(!globalZone_.isNone(), "0 && \"Address Family unknown\"");
  if (counters_) {
    counters_->rxIs(0);
    counters_->rxErrorIs(0);
    counters_->rxSuccessIs(0);
    counters_->txIs(0);
    counters_->txErrorIs(0);
    counters_->txSuccessIs(0);
    counters_->errCountersIs({});
  }
  initialized_ = true;
}

// --- receiving --------------------------------------------------------------------------------

void BootstrapMessageSm::handleBootstrapMessage() {
  BSR_TRACE(io, 9, "");
  if (bsmInfo_->message() && initialized_) handleBSM();
}

void BootstrapMessageSm::handleBSM() {
  BSR_TRACE(io, 9, "handleBSM");
  const auto bsm = std::dynamic_pointer_cast<BootstrapMessage>(bsmInfo_->message());
  if (!bsm) return;
  if (counters_) {
    counters_->rxInc();
    counters_->rxBsmInc();
  }
  const IpGenPrefix zone = zoneOf(*bsm, globalZone_);
  const IpGenAddr source = bsmInfo_->neighborAddr();
  const IntfId intf = bsmInfo_->intfId();
  const Received rx{bsm, source, intf, zone};
  if (!destinationAllowed(rx)) return;
  if (!(bsm->forward() ? rpfAllowed(rx) : quickRefreshAllowed(rx))) return;
  if (!borderAllowed(rx)) return;
  accept(rx);
}

bool BootstrapMessageSm::destinationAllowed(const Received& rx) {
  const IpGenAddr& destination = rx.bsm->destination();
  if (destination == allPimRouters(globalZone_.af())) return true;
  if (destination.isMulticast()) {
    BSR_TRACE(io, 1, "RX - Error - Do not know what we are dealing with here: ", destination);
    note(rx, dropOf(rx, DropCode::badDestination));
    countError([](PimBsrErrorCounters& e) { e.rxInvalidIs(e.rxInvalid() + 1); });
  } else {
    BSR_TRACE(io, 1, "RX - Error - Unicast BSM not supported.");
    note(rx, dropOf(rx, DropCode::unicast));
    countError([](PimBsrErrorCounters& e) { e.rxUnicastBsmIs(e.rxUnicastBsm() + 1); });
  }
  return false;
}

// A link-local neighbour may exist on several links: then the arrival interface counts too.
bool BootstrapMessageSm::rpfAllowed(const Received& rx) {
  const IpGenAddr& bsr = rx.bsm->bsrAddress();
  const auto neighbor = pamManager_->rpfTable()->doLookup(bsr);
  const bool sameLink = neighbor && (!neighbor->address.isLinkLocal() || neighbor->intf == rx.intf);
  if (neighbor && neighbor->address == rx.source && sameLink) return true;
  if (!neighbor) {
    BSR_TRACE(io, 1, "RX - Error - Dropping BSM since BSM src ", rx.source, " for BSR address ",
              bsr, " - RPF neighbor not available.");
  } else {
    BSR_TRACE(io, 1, "RX - Error - Dropping BSM since BSM src ", rx.source,
              " is not from neighbor ", neighbor->address, " for BSR address ", bsr);
  }
  Drop drop = dropOf(rx, neighbor ? DropCode::wrongRpfNeighbor : DropCode::noRpfNeighbor);
  if (neighbor) {
    drop.expectedNeighbor = neighbor->address;
    drop.expectedIntf = neighbor->intf;
  }
  note(rx, drop);
  countError([](PimBsrErrorCounters& e) { e.rxNbrRpfCheckIs(e.rxNbrRpfCheck() + 1); });
  return false;
}

bool BootstrapMessageSm::quickRefreshAllowed(const Received& rx) {
  const auto last = lastBsm(rx.zone);
  const double sinceStartup = timerWheel_.now() - startupTime_;
  const std::uint32_t period = bsPeriod(rx.zone);
  const bool quick = !last || furtherFragment(*rx.bsm, *last);
  if (quick && sinceStartup <= period) return true;
  if (last) {
    BSR_TRACE(io, 1, "RX - Error - Dropping BSM. We expect no-forward BSM only if quick refresh. ",
              "lastBsm=", *last, ", TimeSince startup=", sinceStartup, ", bsPeriod=", period);
  } else {
    BSR_TRACE(io, 1, "RX - Error - Dropping BSM. We expect no-forward BSM only if quick refresh. ",
              "lastBsm=", "NULL", ", TimeSince startup=", sinceStartup, ", bsPeriod=", period);
  }
  note(rx, dropOf(rx, DropCode::noForward));
  countError([](PimBsrErrorCounters& e) { e.rxNoForwardBsmIs(e.rxNoForwardBsm() + 1); });
  return false;
}

// Fragments of one tag from one BSR are one message: what belongs to the No-Forward message that is
// stored is no second one.
bool BootstrapMessageSm::furtherFragment(const BootstrapMessage& bsm,
                                         const BootstrapMessage& last) const {
  return !last.forward() && last.bsrAddress() == bsm.bsrAddress() &&
         last.fragmentTag() == bsm.fragmentTag();
}

bool BootstrapMessageSm::borderAllowed(const Received& rx) {
  if (!isBorder(*bsrStatus_, rx.zone, rx.intf)) return true;
  BSR_TRACE(io, 1, "RX: Error - Dropping BSM since the interface ", rx.intf, " the message ",
            "arrived on is a BSR border for group", rx.zone);
  note(rx, dropOf(rx, DropCode::border));
  countError([](PimBsrErrorCounters& e) { e.rxFilterIs(e.rxFilter() + 1); });
  return false;
}

void BootstrapMessageSm::accept(const Received& rx) {
  BSR_TRACE(io, 4, "RX - Accepted BSM from ", rx.source);
  known(rx.zone, *rx.bsm);
  lastBsmIs(rx.zone, rx.bsm);
  bsmStatus_->iifIntfIdIs(rx.intf);
  const auto first = rx.bsm->firstRange();
  bsmStatus_->firstGroupIs(first ? first->prefix : IpGenPrefix{});
  // The same object twice would be no change, and the engine would not hear of the second message.
  if (bsmStatus_->rxBsm() == rx.bsm) bsmStatus_->rxBsmIs(nullptr);
  bsmStatus_->rxBsmIs(rx.bsm);
  if (!counters_) return;
  counters_->rxBsmSuccessInc();
  counters_->rxSuccessInc();
}

void BootstrapMessageSm::countError(ErrorField bump) {
  if (!counters_) return;
  counters_->rxErrorInc();
  counters_->rxBsmErrorInc();
  PimBsrErrorCounters errors = counters_->errCounters();
  bump(errors);
  counters_->errCountersIs(errors);
}

// --- what was not taken -----------------------------------------------------------------------

Drop BootstrapMessageSm::dropOf(const Received& rx, DropCode code) const {
  return {.code = code,
          .intf = rx.intf,
          .source = rx.source,
          .subject = rx.bsm->bsrAddress(),
          .zone = rx.zone,
          .tag = rx.bsm->fragmentTag()};
}

void BootstrapMessageSm::note(const Received& rx, const Drop& drop) {
  const auto seen = known_.find(rx.zone);
  const bool echo = mayBeEcho(drop) && seen != known_.end() &&
                    std::find(seen->second.begin(), seen->second.end(),
                              Identity(drop.subject, drop.tag)) != seen->second.end();
  echo ? pamManager_->drops().echo(drop) : pamManager_->drops().add(drop);
}

void BootstrapMessageSm::known(const IpGenPrefix& zone, const BootstrapMessage& bsm) {
  const Identity identity(bsm.bsrAddress(), bsm.fragmentTag());
  std::deque<Identity>& seen = known_[zone];
  if (!seen.empty() && seen.back() == identity) return;
  seen.push_back(identity);
  if (seen.size() > identities) seen.pop_front();
  pamManager_->drops().known(identity.first, identity.second);
}

std::uint32_t BootstrapMessageSm::bsPeriod(const IpGenPrefix& zone) const {
  const auto& candidate = bsrStatus_->cbsr(zone);
  const bool known = candidate && candidate->bsPeriod() != bsPeriodUnknown;
  return known ? candidate->bsPeriod() : bsPeriodDefault;
}

// --- the last message of each zone ------------------------------------------------------------

std::shared_ptr<BootstrapMessage> BootstrapMessageSm::lastBsm(const IpGenPrefix& zone) const {
  const auto it = lastBsm_.find(zone);
  return it == lastBsm_.end() ? nullptr : it->second;
}

void BootstrapMessageSm::lastBsmIs(const IpGenPrefix& zone,
                                   const std::shared_ptr<BootstrapMessage>& bsm) {
  if (entriesOf(*bsm) <= longMessage) {
    lastBsm_[zone] = bsm;
    return;
  }
  // Only its being there counts. Without its ranges, neighbours that name many zones cannot make us
  // hold much.
  lastBsm_[zone] = headOf(*bsm);
}

void BootstrapMessageSm::lastBsmDel(const IpGenPrefix& zone) {
  lastBsm_.erase(zone);
  known_.erase(zone);
}

void BootstrapMessageSm::lastBsmDelAll() {
  lastBsm_.clear();
  known_.clear();
}

// --- sending ----------------------------------------------------------------------------------

void BootstrapMessageSm::handleTransmission() {
  if (!initialized_ || !bsmStatus_->txBsm()) return;
  BSR_TRACE(io, 9, "handleTransmission");
  known(zoneOf(*bsmStatus_->txBsm(), globalZone_), *bsmStatus_->txBsm());
  const auto& info = pamManager_->bsmTxInfo();
  const std::uint32_t before = info->count();
  info->intfIdIs(bsmStatus_->oifIntfId());
  info->messageIs(bsmStatus_->txBsm());
  info->countInc(1);
  if (!counters_) return;
  counters_->txInc();
  if (before >= info->count()) {
    counters_->txErrorInc();
  } else {
    counters_->txSuccessInc();
  }
}

}  // namespace Routing::Pim::Bsr
