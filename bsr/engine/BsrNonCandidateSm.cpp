#include "bsr/engine/BsrNonCandidateSm.h"

#include <utility>

#include "bsr/engine/ElectedBsrRecord.h"
#include "bsr/engine/PimBsrSm.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

BsrNonCandidateSm::BsrNonCandidateSm(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus,
                                     TimerWheel& bsTimerWheel, TimerWheel& szTimerWheel,
                                     PimBsrSm& engine)
    : zone_(zone),
      bsrStatus_(std::move(bsrStatus)),
      timerWheel_(bsTimerWheel),
      engine_(engine),
      bsTimer_(bsTimerWheel, [this] { handleBsrTimerExpiry(); }),
      szTimer_(szTimerWheel, [this] { handleSzTimerExpiry(); }),
      lastBsm_(engine.lastBsmBudget()) {
  bsTimeoutReactor_ = bsrStatus_->bsTimeoutReactor([this] { handleBsTimeout(); });
  szTimeoutReactor_ = bsrStatus_->szTimeoutReactor([this] { handleSzTimeout(); });
  handleInitialized();
  handleBsm();
}

bool BsrNonCandidateSm::scoped() const {
  return zone_ != engine_.globalOrNonScopeZone();
}

std::shared_ptr<ElectedBsrStatus> BsrNonCandidateSm::recordedBsr() const {
  const auto& bsr = bsrStatus_->bootstrapRouter(zone_);
  return bsr && namesBsr(*bsr) ? bsr : nullptr;
}

void BsrNonCandidateSm::handleInitialized() {
  BSR_TRACE(nonCandidateSm, 9, "");
  state_ = scoped() ? State::noInfo : State::acceptAny;
  BSR_TRACE(nonCandidateSm, 1, ", state=", state_, ", Zone=", zone_);
  if (const auto bsr = recordedBsr()) {
    state_ = State::acceptPreferred;
    BSR_TRACE(nonCandidateSm, 1, ", state=", state_, ", Zone=", zone_);
    expiryTimeIs(*bsr, now() + bsrStatus_->bsTimeout(), now());
    bsTimer_.expiryIs(bsr->expiryTime());
    BSR_TRACE(nonCandidateSm, 5, " Next BS timer expiry is in ", bsr->expires(),
              " seconds from now.");
  }
  initialized_ = true;
}

// --- messages ---------------------------------------------------------------------------------

void BsrNonCandidateSm::bsmIs(const std::shared_ptr<BootstrapMessage>& bsm) {
  bsm_ = bsm;
  handleBsm();
}

void BsrNonCandidateSm::handleBsm() {
  BSR_TRACE(nonCandidateSm, 9, "Initialized=", initialized_ ? "True" : "False",
            ", bsm=", bsm_.get());
  if (!initialized_ || !bsm_) return;
  state_ = State::acceptPreferred;
  BSR_TRACE(nonCandidateSm, 1, ", state=", state_, ", Zone=", zone_);
  if (!accept()) return;
  if (scoped()) szTimer_.expiryIs(never);
  if (bsm_->forward()) {
    engine_.forwardBsm(zone_, bsm_);
  } else {
    BSR_TRACE(nonCandidateSm, 4, "Not Forwarding bootstrap message since noForward bit is set");
  }
  engine_.storeRpSet(zone_, *bsm_, false);
  lastBsmIs();
  if (const auto bsr = recordedBsr()) {
    bsTimer_.expiryIs(bsr->expiryTime());
    BSR_TRACE(nonCandidateSm, 5, " Next BS timer expiry is in ", bsr->expiryTime() - now(),
              " seconds from now.");
  }
}

// Records the message's BSR, unless a better one is recorded.
bool BsrNonCandidateSm::accept() {
  const auto bsr = recordedBsr();
  if (!bsr) {
    newBsr();
    return true;
  }
  const PimBsrWeight recorded(static_cast<std::uint8_t>(bsr->priority()), bsr->ipAddr());
  const PimBsrWeight announced(bsm_->bsrPriority(), bsm_->bsrAddress());
  // A message from the recorded BSR counts whatever its priority is now (RFC 5059 section 3.1.4).
  if (bsm_->bsrAddress() != bsr->ipAddr() && announced < recorded) {
    BSR_TRACE(nonCandidateSm, 4, "Received Non Preferred BSM. ", "Nothing to be done.");
    return false;
  }
  handlePreferredBsm(*bsr);
  return true;
}

void BsrNonCandidateSm::newBsr() {
  clearRpSet("");
  const auto bsr = bsrStatus_->newBootstrapRouter(zone_);
  bsr->ipAddrIs(bsm_->bsrAddress());
  bsr->priorityIs(bsm_->bsrPriority());
  bsr->hashMaskLenIs(bsm_->hashMaskLen());
  bsr->setupTimeIs(now());
  expiryTimeIs(*bsr, now() + bsrStatus_->bsTimeout(), now());
  BSR_TRACE(nonCandidateSm, 4, "Created BSR state: IP=", bsr->ipAddr(),
            ", Priority=", bsr->priority(), ", hashMaskLen=", bsr->hashMaskLen(), " for Zone ",
            zone_);
}

void BsrNonCandidateSm::handlePreferredBsm(ElectedBsrStatus& bsr) {
  BSR_TRACE(nonCandidateSm, 9, "");
  if (bsr.ipAddr() != bsm_->bsrAddress()) {
    clearRpSet(". Old BSR was " + bsr.ipAddr().text());
    bsr.ipAddrIs(bsm_->bsrAddress());
    bsr.setupTimeIs(now());
  }
  bsr.priorityIs(bsm_->bsrPriority());
  bsr.hashMaskLenIs(bsm_->hashMaskLen());
  BSR_TRACE(nonCandidateSm, 4, "Received preferred BSR state: IP=", bsr.ipAddr(),
            ", Priority=", bsr.priority(), ", hashMaskLen=", bsr.hashMaskLen(), " for Zone ",
            zone_);
  expiryTimeIs(bsr, now() + bsrStatus_->bsTimeout(), now());
}

void BsrNonCandidateSm::clearRpSet(const std::string& reason) {
  const auto zoneStatus = bsrStatus_->crpStatus(zone_);
  if (!zoneStatus || !zoneStatus->status()) return;
  BSR_TRACE(nonCandidateSm, 4, "Clearing RP Set for zone ", zone_, " since we have a new BSR",
            reason);
  zoneStatus->status()->crpSetDelAll();
}

void BsrNonCandidateSm::lastBsmIs() {
  lastBsm_.messageIs(bsm_, now());
  if (lastBsmFragments_ && lastBsmFragments_->fragTag != bsm_->fragmentTag()) {
    BSR_TRACE(nonCandidateSm, 8, "Removing saved fragments related to tag ",
              lastBsmFragments_->fragTag);
    engine_.bsmRxFragmentsDel(lastBsmFragments_);
  }
  lastBsmFragments_ = engine_.bsmRxFragments(bsm_->fragmentTag());
}

// --- timers -----------------------------------------------------------------------------------

void BsrNonCandidateSm::handleBsrTimerExpiry() {
  BSR_TRACE(nonCandidateSm, 9, "");
  if (!initialized_) return;
  if (state_ != State::acceptPreferred) {
    BSR_TRACE(nonCandidateSm, 2, "Invalid event Bootstrap Timer Expiry in state ", state_);
    return;
  }
  state_ = State::acceptAny;
  BSR_TRACE(nonCandidateSm, 1, ", state=", state_, ", Zone=", zone_);
  engine_.refreshRpSet(zone_, lastBsm_.message());
  engine_.rpSets().forgetEmpty(zone_);
  if (const auto bsr = bsrStatus_->bootstrapRouter(zone_)) {
    BSR_TRACE(nonCandidateSm, 4, "Removing BSR ", bsr->ipAddr(), " state for zone ", zone_);
    bsrStatus_->bootstrapRouterDel(zone_);
  }
  // A message of a BSR that is gone must not prime new neighbours (RFC 5059 section 3.1.5).
  lastBsm_.clear();
  if (!scoped()) return;
  szTimer_.expiryInIs(bsrStatus_->szTimeout());
  BSR_TRACE(nonCandidateSm, 5, " Next SZ timer expiry is in ", bsrStatus_->szTimeout(),
            " seconds from now.");
}

void BsrNonCandidateSm::handleSzTimerExpiry() {
  BSR_TRACE(nonCandidateSm, 9, "");
  if (!initialized_) return;
  if (state_ != State::acceptAny) {
    BSR_TRACE(nonCandidateSm, 2, "Invalid event Scope Zone Timer Expiry in state ", state_,
              " for zone ", zone_);
    return;
  }
  state_ = State::noInfo;
  BSR_TRACE(nonCandidateSm, 1, ", state=", state_, ", Zone=", zone_);
  BSR_TRACE(nonCandidateSm, 4, "Deleted Zone ", zone_);
  engine_.nonCandidateSmDel(IpGenPrefix(zone_));  // ends this machine
}

void BsrNonCandidateSm::handleBsTimeout() {
  BSR_TRACE(nonCandidateSm, 9, "");
  if (!initialized_) return;
  if (!bsTimer_.armed()) {
    BSR_TRACE(nonCandidateSm, 5, "BS timer not set. Nothing to be done. ");
    return;
  }
  const double remaining = bsTimer_.expiry() - now();
  const std::uint32_t bsTimeout = bsrStatus_->bsTimeout();
  if (remaining < bsTimeout) return;
  BSR_TRACE(nonCandidateSm, 5, "BS timer expiry was in ", remaining,
            " seconds from now. Resetting BS timer expiry to ", bsTimeout, " seconds from now.");
  bsTimer_.expiryInIs(bsTimeout);
  if (const auto bsr = recordedBsr()) expiryTimeIs(*bsr, bsTimer_.expiry(), now());
}

void BsrNonCandidateSm::handleSzTimeout() {
  BSR_TRACE(nonCandidateSm, 9, "");
  if (!initialized_) return;
  if (!szTimer_.armed()) {
    BSR_TRACE(nonCandidateSm, 5, "SZ timer not set. Nothing to be done. ");
    return;
  }
  const double remaining = szTimer_.expiry() - now();
  const std::uint32_t szTimeout = bsrStatus_->szTimeout();
  if (remaining < szTimeout) return;
  BSR_TRACE(nonCandidateSm, 5, "SZ timer expiry was in ", remaining,
            " seconds from now. Restting SZ timer expiry to ", szTimeout, " seconds from now.");
  szTimer_.expiryInIs(szTimeout);
}

}  // namespace Routing::Pim::Bsr
