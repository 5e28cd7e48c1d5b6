#include "bsr/engine/ZoneSm.h"

#include <utility>

#include "bsr/engine/ElectedBsrRecord.h"
#include "bsr/engine/PimBsrSm.h"
#include "bsr/engine/ZoneServices.h"

namespace Routing::Pim::Bsr {

ZoneSm::ZoneSm(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus, TimerWheel& timerWheel,
               PimBsrSm& engine, const TraceHandle& trace)
    : engine_(engine),
      services_(engine.services()),
      bsrStatus_(std::move(bsrStatus)),
      timerWheel_(timerWheel),
      trace_(trace),
      bsTimer_(timerWheel, services_->deferred().held([this] { handleBsrTimerExpiry(); })),
      lastBsm_(services_->lastBsmBudget()),
      zone_(zone) {}

ZoneSm::~ZoneSm() = default;

void ZoneSm::retire() {
  beginTurn();
  initialized_ = false;
  bsTimer_.expiryIs(never);
  lastBsm_.clear();
}

bool ZoneSm::scoped() const {
  return zone_ != services_->globalZone();
}

// --- the record of the elected BSR ------------------------------------------------------------

std::shared_ptr<ElectedBsrStatus> ZoneSm::recordedBsr() const {
  const auto& bsr = bsrStatus_->bootstrapRouter(zone_);
  return bsr && namesBsr(*bsr) ? bsr : nullptr;
}

void ZoneSm::recordExpiryIs(double expiry) {
  if (const auto record = bsrStatus_->bootstrapRouter(zone_)) expiryTimeIs(*record, expiry, now());
}

void ZoneSm::endWait() {
  if (bsTimer_.armed()) bsTimer_.expiryIs(now());
}

void ZoneSm::dropNamelessRecord() {
  const auto record = bsrStatus_->bootstrapRouter(zone_);
  if (record && !namesBsr(*record)) bsrStatus_->bootstrapRouterDel(zone_);
}

// --- messages and RP sets ---------------------------------------------------------------------

void ZoneSm::clearRpSet(const std::string& reason) {
  services_->forgetIncomplete(zone_);
  const auto zoneStatus = bsrStatus_->crpStatus(zone_);
  const auto rpSets = zoneStatus ? zoneStatus->status() : nullptr;
  if (!rpSets) return;
  ROUTING_TRACE(trace_, 4, vrfName(), "Clearing RP Set for zone ", zone_, reason);
  rpSets->crpSetDelAll();
}

void ZoneSm::forwardOrTrace(const Bsm& bsm, const Turn& turn) {
  if (bsm->forward()) {
    services_->forwardBsm(zone_, bsm, &turn);
  } else {
    ROUTING_TRACE(trace_, 4, vrfName(),
                  "Not Forwarding bootstrap message since noForward bit is set");
  }
}

void ZoneSm::lastBsmIs(const Bsm& bsm) {
  lastBsm_.messageIs(bsm, now());
  if (lastBsmFragments_ && lastBsmFragments_->fragTag != bsm->fragmentTag()) {
    ROUTING_TRACE(trace_, 8, vrfName(), "Removing saved fragments related to tag ",
                  lastBsmFragments_->fragTag);
    services_->bsmRxFragmentsDel(lastBsmFragments_);
  }
  lastBsmFragments_ = services_->bsmRxFragments(bsm->fragmentTag());
}

bool ZoneSm::shortenTo(Timer& timer, std::uint32_t seconds, const TimerTexts& texts) {
  if (!timer.armed()) {
    ROUTING_TRACE(trace_, 5, vrfName(), texts.timer, " timer not set. Nothing to be done. ");
    return false;
  }
  const double remaining = timer.expiry() - now();
  if (remaining < seconds) return false;
  ROUTING_TRACE(trace_, 5, vrfName(), texts.timer, " timer expiry was in ", remaining,
                " seconds from now. ", texts.resetting, " timer expiry to ", seconds,
                " seconds from now.");
  timer.expiryInIs(seconds);
  return true;
}

}  // namespace Routing::Pim::Bsr
