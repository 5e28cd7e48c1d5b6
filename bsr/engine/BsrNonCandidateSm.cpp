#include "bsr/engine/BsrNonCandidateSm.h"

#include <utility>

#include "bsr/engine/ElectedBsrRecord.h"
#include "bsr/engine/PimBsrSm.h"
#include "bsr/engine/ZoneServices.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

BsrNonCandidateSm::BsrNonCandidateSm(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus,
                                     TimerWheel& bsTimerWheel, TimerWheel& szTimerWheel,
                                     PimBsrSm& engine)
    : ZoneSm(zone, std::move(bsrStatus), bsTimerWheel, engine, traces::nonCandidateSm),
      szTimer_(szTimerWheel, services_->deferred().held([this] { handleSzTimerExpiry(); })) {}

void BsrNonCandidateSm::start() {
  DeferredDelete& deferred = services_->deferred();
  bsTimeoutReactor_ = bsrStatus_->bsTimeoutReactor(deferred.held([this] { handleBsTimeout(); }));
  szTimeoutReactor_ = bsrStatus_->szTimeoutReactor(deferred.held([this] { handleSzTimeout(); }));
  handleInitialized();
  handleBsm();
}

void BsrNonCandidateSm::retire() {
  ZoneSm::retire();
  szTimer_.expiryIs(never);
  bsTimeoutReactor_.reset();
  szTimeoutReactor_.reset();
}

void BsrNonCandidateSm::handleInitialized() {
  BSR_TRACE(nonCandidateSm, 9, "");
  const Turn turn = beginTurn();
  state_ = scoped() ? State::noInfo : State::acceptAny;
  BSR_TRACE(nonCandidateSm, 1, ", state=", state_, ", Zone=", zone());
  if (const auto bsr = recordedBsr()) {
    state_ = State::acceptPreferred;
    BSR_TRACE(nonCandidateSm, 1, ", state=", state_, ", Zone=", zone());
    expiryTimeIs(*bsr, now() + bsrStatus_->bsTimeout(), now());
    turn([&] { bsTimer_.expiryIs(bsr->expiryTime()); });
    BSR_TRACE(nonCandidateSm, 5, " Next BS timer expiry is in ", bsr->expires(),
              " seconds from now.");
  }
  turn([&] { initialized_ = true; });
}

// --- messages ---------------------------------------------------------------------------------

void BsrNonCandidateSm::bsmIs(const Bsm& bsm) {
  const DeferredDelete::Hold hold(services_->deferred());
  const Bsm before = std::exchange(bsm_, bsm);
  handleBsm();
  bsm_ = before;
}

void BsrNonCandidateSm::handleBsm() {
  const Bsm bsm = bsm_;
  BSR_TRACE(nonCandidateSm, 9, "Initialized=", initialized_ ? "True" : "False",
            ", bsm=", bsm.get());
  if (!initialized_ || !bsm) return;
  const Turn turn = beginTurn();
  state_ = State::acceptPreferred;
  BSR_TRACE(nonCandidateSm, 1, ", state=", state_, ", Zone=", zone());
  if (!preferred(bsm)) return;
  recordedBsr() ? handlePreferredBsm() : newBsr(bsm);
  turn([&] {
    if (scoped()) szTimer_.expiryIs(never);
  });
  turn([&] { forwardOrTrace(bsm, turn); });
  turn([&] { services_->storeRpSet(zone(), *bsm, false, &turn); });
  turn([&] { lastBsmIs(bsm); });
  turn([&] { bsTimerIs(); });
}

// A message from the recorded BSR counts whatever its priority is now (RFC 5059 section 3.1.4).
bool BsrNonCandidateSm::preferred(const Bsm& bsm) const {
  const auto bsr = recordedBsr();
  if (!bsr || bsm->bsrAddress() == bsr->ipAddr()) return true;
  const PimBsrWeight recorded(static_cast<std::uint8_t>(bsr->priority()), bsr->ipAddr());
  if (!(PimBsrWeight(bsm->bsrPriority(), bsm->bsrAddress()) < recorded)) return true;
  BSR_TRACE(nonCandidateSm, 4, "Received Non Preferred BSM. ", "Nothing to be done.");
  return false;
}

void BsrNonCandidateSm::newBsr(const Bsm& bsm) {
  const Turn turn = joinTurn();
  clearRpSet(" since we have a new BSR");
  if (!turn.goesOn()) return;
  const auto bsr = bsrStatus_->newBootstrapRouter(zone());
  turn([&] { bsr->ipAddrIs(bsm->bsrAddress()); });
  turn([&] { bsr->priorityIs(bsm->bsrPriority()); });
  turn([&] { bsr->hashMaskLenIs(bsm->hashMaskLen()); });
  turn([&] { bsr->setupTimeIs(now()); });
  turn([&] { expiryTimeIs(*bsr, now() + bsrStatus_->bsTimeout(), now()); });
  if (!turn.goesOn()) return dropNamelessRecord();
  BSR_TRACE(nonCandidateSm, 4, "Created BSR state: IP=", bsr->ipAddr(),
            ", Priority=", bsr->priority(), ", hashMaskLen=", bsr->hashMaskLen(), " for Zone ",
            zone());
}

void BsrNonCandidateSm::handlePreferredBsm() {
  const Bsm bsm = bsm_;
  BSR_TRACE(nonCandidateSm, 9, "");
  const Turn turn = joinTurn();
  const auto bsr = recordedBsr();
  if (bsr->ipAddr() != bsm->bsrAddress()) handleNewAddress(*bsr, bsm);
  turn([&] { bsr->priorityIs(bsm->bsrPriority()); });
  turn([&] { bsr->hashMaskLenIs(bsm->hashMaskLen()); });
  if (!turn.goesOn()) return;
  BSR_TRACE(nonCandidateSm, 4, "Received preferred BSR state: IP=", bsr->ipAddr(),
            ", Priority=", bsr->priority(), ", hashMaskLen=", bsr->hashMaskLen(), " for Zone ",
            zone());
  expiryTimeIs(*bsr, now() + bsrStatus_->bsTimeout(), now());
}

void BsrNonCandidateSm::handleNewAddress(ElectedBsrStatus& bsr, const Bsm& bsm) {
  const Turn turn = joinTurn();
  clearRpSet(" since we have a new BSR. Old BSR was " + bsr.ipAddr().text());
  turn([&] { bsr.ipAddrIs(bsm->bsrAddress()); });
  turn([&] { bsr.setupTimeIs(now()); });
}

// --- timers -----------------------------------------------------------------------------------

void BsrNonCandidateSm::bsTimerIs() {
  const auto bsr = recordedBsr();
  if (!bsr) return;
  bsTimer_.expiryIs(bsr->expiryTime());
  BSR_TRACE(nonCandidateSm, 5, " Next BS timer expiry is in ", bsr->expiryTime() - now(),
            " seconds from now.");
}

void BsrNonCandidateSm::handleBsrTimerExpiry() {
  BSR_TRACE(nonCandidateSm, 9, "");
  if (!initialized_) return;
  if (state_ != State::acceptPreferred) {
    BSR_TRACE(nonCandidateSm, 2, "Invalid event Bootstrap Timer Expiry in state ", state_);
    return;
  }
  const Turn turn = beginTurn();
  state_ = State::acceptAny;
  BSR_TRACE(nonCandidateSm, 1, ", state=", state_, ", Zone=", zone());
  services_->refreshRpSet(zone(), lastBsm_.message(), &turn);
  turn([&] { services_->rpSets().forgetEmpty(zone()); });
  turn([&] { removeBsr(); });
  // A message of a BSR that is gone must not prime new neighbours (RFC 5059 section 3.1.5).
  turn([&] { lastBsm_.clear(); });
  turn([&] { szTimerIs(); });
}

void BsrNonCandidateSm::removeBsr() {
  const auto bsr = bsrStatus_->bootstrapRouter(zone());
  if (!bsr) return;
  BSR_TRACE(nonCandidateSm, 4, "Removing BSR ", bsr->ipAddr(), " state for zone ", zone());
  bsrStatus_->bootstrapRouterDel(zone());
}

void BsrNonCandidateSm::szTimerIs() {
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
              " for zone ", zone());
    return;
  }
  state_ = State::noInfo;
  BSR_TRACE(nonCandidateSm, 1, ", state=", state_, ", Zone=", zone());
  BSR_TRACE(nonCandidateSm, 4, "Deleted Zone ", zone());
  engine_.nonCandidateSmDel(zone());
}

void BsrNonCandidateSm::handleBsTimeout() {
  BSR_TRACE(nonCandidateSm, 9, "");
  if (!initialized_ || !shortenTo(bsTimer_, bsrStatus_->bsTimeout(), bsTexts)) return;
  if (const auto bsr = recordedBsr()) expiryTimeIs(*bsr, bsTimer_.expiry(), now());
}

void BsrNonCandidateSm::handleSzTimeout() {
  BSR_TRACE(nonCandidateSm, 9, "");
  if (initialized_) shortenTo(szTimer_, bsrStatus_->szTimeout(), szTexts);
}

}  // namespace Routing::Pim::Bsr
