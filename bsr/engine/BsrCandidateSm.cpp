#include "bsr/engine/BsrCandidateSm.h"

#include <cstdlib>
#include <utility>

#include "bsr/engine/ElectedBsrRecord.h"
#include "bsr/engine/PimBsrSm.h"
#include "bsr/types/Traces.h"
#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {

BsrCandidateSm::BsrCandidateSm(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus,
                               TimerWheel& timerWheel, PimBsrSm& engine)
    : zone_(zone),
      bsrStatus_(std::move(bsrStatus)),
      timerWheel_(timerWheel),
      engine_(engine),
      bsTimer_(timerWheel, [this] { handleBsrTimerExpiry(); }),
      candidate_(bsrStatus_->cbsr(zone)),
      candidateRpSet_(zone, bsrStatus_, engine.rpSets(), timerWheel),
      lastBsm_(engine.lastBsmBudget()) {
  if (!candidate_) return;
  candidate_->stateIs(state_);
  reactors_.push_back(bsrStatus_->bsTimeoutReactor([this] { handleBsTimeout(); }));
  reactors_.push_back(candidate_->addressReactor([this] { handleIpChange(); }));
  reactors_.push_back(candidate_->priorityReactor([this] { handlePriority(); }));
  reactors_.push_back(candidate_->hashMaskLenReactor([this] { handleHashMaskLen(); }));
  reactors_.push_back(candidate_->bsPeriodReactor([this] { handleBsPeriod(); }));
  reactors_.push_back(candidate_->electedReactor([this] { handleElected(); }));
  handleInitialized();
}

// --- the table --------------------------------------------------------------------------------
//
// One function for each event, one arm for each state. The order inside an arm matters.

#define BSR_STATE(next) \
  (stateIs(next), BSR_TRACE(candidateSm, 1, ", state=", state_, ", zone=", zone_))

void BsrCandidateSm::handlePreferredBsm() {
  BSR_TRACE(candidateSm, 9, "");
  BSR_STATE(State::cBsr);
  candidate_->electedIs(false);  // ends our record and RP set before the new BSR's are made
  recordIs(*bsm_);
  forwardOrTrace();
  engine_.storeRpSet(zone_, *bsm_, false);
  lastBsmIs();
  awaitNextBsm();
}

void BsrCandidateSm::handleNonPreferredBsm() {
  BSR_TRACE(candidateSm, 9, "");
  switch (state_) {
    case State::cBsr:
      BSR_STATE(State::pBsr);
      forwardOrTrace();
      lowerStoredBsr();  // the back-off is reckoned from what is left of it
      backOffIs();
      break;
    case State::pBsr:
      BSR_STATE(State::pBsr);
      forwardOrTrace();
      lastBsm_.messageIs(bsm_, now());
      break;
    case State::eBsr:
      BSR_STATE(State::eBsr);
      originate();
      BSR_TRACE(candidateSm, 5, "Next Expiry Time is ", bsPeriod_, " seconds");
      break;
    case State::noInfoBsr:
      ROUTING_ASSERT_TEXT(false, "0 && \"Invalid Candidate BSR state\"");
  }
}

void BsrCandidateSm::handleBsrTimerExpiry() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_) return;
  switch (state_) {
    case State::cBsr:
      BSR_STATE(State::pBsr);
      backOffIs();
      break;
    case State::pBsr:
    case State::eBsr:
      BSR_STATE(State::eBsr);
      storedBsr_ = ownBsr_;
      candidate_->electedIs(true);  // records us
      originate();
      BSR_TRACE(candidateSm, 5, "Next Expiry Time in ", bsPeriod_, " seconds");
      break;
    case State::noInfoBsr:
      ROUTING_ASSERT_TEXT(false, "0 && \"Invalid Candidate BSR state\"");
  }
}

void BsrCandidateSm::handleInitialized() {
  BSR_TRACE(candidateSm, 9, "");
  if (initialized_) return;
  if (!complete()) {
    BSR_TRACE(candidateSm, 4, "Postponing initialization of CandidateSm ", zone_,
              " till all the attributes of Candidate Bsr is initialized.");
    return;
  }
  ownBsrIs();
  computeBsTimeout("BS holdtime is set to ");
  stateIs(State::pBsr);
  BSR_TRACE(candidateSm, 1, ", state=", state_, " ,zone=", zone_);
  storedBsr_ = betterOfRecordAndOwn();
  initialized_ = true;  // from here on messages are sent
  if (!candidate_->elected()) {
    const std::uint32_t delay = bs_rand_override();
    bsTimer_.expiryInIs(delay);
    BSR_TRACE(candidateSm, 5, " Next Expiry Time in ", delay, " seconds");
    return;
  }
  stateIs(State::eBsr);  // elected before a restart
  BSR_TRACE(candidateSm, 1, "state=", state_, ", zone=", zone_);
  storedBsr_ = ownBsr_;
  doUpdateElectedBsr();
  originate();
}

#undef BSR_STATE

// --- what the table's arms do -----------------------------------------------------------------

void BsrCandidateSm::bsmIs(const std::shared_ptr<BootstrapMessage>& bsm) {
  bsm_ = bsm;
  handleBsm();
}

void BsrCandidateSm::handleBsm() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_ || !bsm_) return;
  BSR_TRACE(candidateSm, 8, "BSM Priority is ", int{bsm_->bsrPriority()}, " and my priority is ",
            candidate_->priority());
  if (bsm_->bsrAddress() == ownBsr_.ipAddr) {
    BSR_TRACE(candidateSm, 3, "BSM names ourselves, ", ownBsr_.ipAddr, ", as BSR for zone ", zone_);
    if (state_ == State::eBsr) return;  // an echo of our own message: nobody else has won
  }
  const PimBsrWeight announced(bsm_->bsrPriority(), bsm_->bsrAddress());
  const StoredBsr& believed = state_ == State::cBsr ? storedBsr_ : ownBsr_;
  announced < weight(believed) ? handleNonPreferredBsm() : handlePreferredBsm();
}

// The BSR that the record names if it is better than we are, else ourselves.
BsrCandidateSm::StoredBsr BsrCandidateSm::betterOfRecordAndOwn() const {
  const auto& record = bsrStatus_->bootstrapRouter(zone_);
  if (!record || !namesBsr(*record)) return ownBsr_;
  const StoredBsr recorded{record->ipAddr(), static_cast<std::uint8_t>(record->priority()),
                           record->hashMaskLen()};
  return weight(ownBsr_) < weight(recorded) ? recorded : ownBsr_;
}

// The message's BSR is the one that we follow from now on.
void BsrCandidateSm::recordIs(const BootstrapMessage& bsm) {
  const auto record = bsrStatus_->bootstrapRouter(zone_);
  if (record && record->ipAddr() != bsm.bsrAddress()) {
    clearRpSet(" since we have a new BSR. Old BSR was " + record->ipAddr().text());
  }
  storedBsr_ = {bsm.bsrAddress(), bsm.bsrPriority(), bsm.hashMaskLen()};
  doUpdateElectedBsr();
}

// The BSR that we followed may itself say that it is worse now.
void BsrCandidateSm::lowerStoredBsr() {
  if (bsm_->bsrAddress() != storedBsr_.ipAddr) return;
  storedBsr_.priority = bsm_->bsrPriority();
  storedBsr_.hashMaskLen = bsm_->hashMaskLen();
  doUpdateElectedBsr();
}

// Forwarding may come back as another message: no timer is set for a state that has passed.
void BsrCandidateSm::awaitNextBsm() {
  if (state_ != State::cBsr) return;
  bsTimer_.expiryInIs(bsTimeout_);
  recordExpiryIs(bsTimer_.expiry());
  BSR_TRACE(candidateSm, 5, " Next Expiry Timer expires in about ", bsTimeout_, " secs from now");
}

// Sends our message and waits for the next period, if sending has not cost us the election.
void BsrCandidateSm::originate() {
  doSendBsm(false);
  if (state_ != State::eBsr) return;
  bsTimer_.expiryInIs(bsPeriod_);
  recordExpiryIs(bsTimer_.expiry());
}

void BsrCandidateSm::backOffIs() {
  if (state_ != State::pBsr) return;
  const std::uint32_t delay = bs_rand_override();
  bsTimer_.expiryInIs(delay);
  BSR_TRACE(candidateSm, 5, "Next Expiry Time in ", delay, " seconds");
}

std::uint32_t BsrCandidateSm::bs_rand_override() const {
  const BackOff delay = backOff(weight(ownBsr_), weight(storedBsr_));
  BSR_TRACE(candidateSm, 5, "addrDelay=", delay.addrDelay, ", priorityDelay=", delay.priorityDelay,
            ", delay=", delay.delay, ", bs_rand_override=", delay.seconds);
  return delay.seconds;
}

void BsrCandidateSm::forwardOrTrace() {
  if (bsm_->forward()) {
    engine_.forwardBsm(zone_, bsm_);
  } else {
    BSR_TRACE(candidateSm, 4, "Not Forwarding bootstrap message since noForward bit is set");
  }
}

void BsrCandidateSm::lastBsmIs() {
  lastBsm_.messageIs(bsm_, now());
  if (lastBsmFragments_ && lastBsmFragments_->fragTag != bsm_->fragmentTag()) {
    BSR_TRACE(candidateSm, 8, "Removing saved fragments related to tag ",
              lastBsmFragments_->fragTag);
    engine_.bsmRxFragmentsDel(lastBsmFragments_);
  }
  lastBsmFragments_ = engine_.bsmRxFragments(bsm_->fragmentTag());
}

void BsrCandidateSm::clearRpSet(const std::string& reason) {
  const auto zoneStatus = bsrStatus_->crpStatus(zone_);
  if (!zoneStatus || !zoneStatus->status()) return;
  BSR_TRACE(candidateSm, 4, "Clearing RP Set for zone ", zone_, reason);
  zoneStatus->status()->crpSetDelAll();
}

void BsrCandidateSm::doSendBsm(bool shutdown) {
  BSR_TRACE(candidateSm, 9, "doSendBsm", " ( shutdown=", shutdown ? "True" : "False");
  if (!initialized_) return;
  auto bsm = std::make_shared<BootstrapMessage>();
  const bool again = lastBsm_.message() != nullptr;
  do {
    bsm->fragmentTagIs(static_cast<std::uint16_t>(std::rand()));
  } while (again && bsm->fragmentTag() == lastBsm_.message()->fragmentTag());
  bsm->forwardIs(true);
  bsm->hashMaskLenIs(static_cast<std::uint8_t>(ownBsr_.hashMaskLen));
  bsm->bsrPriorityIs(shutdown ? 0 : ownBsr_.priority);
  bsm->bsrAddressIs(ownBsr_.ipAddr);

  const auto zoneStatus = bsrStatus_->crpStatus(zone_);
  const auto rpSets = zoneStatus ? zoneStatus->status() : nullptr;
  const bool scoped = zone_ != engine_.globalOrNonScopeZone();
  if (scoped) {
    const auto rpSet = rpSets ? rpSets->crpSet(zone_) : nullptr;
    engine_.doAddGroupData(*bsm, rpSet.get(), zone_, GroupFlags::zoneFlag);
  }
  if (rpSets) {
    for (const auto& [prefix, rpSet] : rpSets->crpSet()) {
      if (!scoped || prefix != zone_) engine_.doAddGroupData(*bsm, rpSet.get(), prefix, 0);
    }
  }
  lastBsm_.messageIs(bsm, now());
  engine_.forwardBsm(zone_, bsm);
}

void BsrCandidateSm::doAddCrp(const CrpGroupInfo& groupInfo, const IpGenAddr& rpAddress,
                              RpPriority priority, CrpHoldTime holdtime) {
  if (candidateRpSet_.doAddCrp(groupInfo, rpAddress, priority, holdtime,
                               {ownBsr_.hashMaskLen, bsPeriod_})) {
    pullForward();
  }
}

// A changed RP set is announced soon, but not at once (RFC 5059 section 3.3).
void BsrCandidateSm::pullForward() {
  const double remaining = bsTimer_.expiry() - now();
  if (remaining <= bsMinInterval) {
    BSR_TRACE(candidateSm, 5, "Bootstrap timer to expire in ", remaining, " seconds");
    return;
  }
  bsTimer_.expiryInIs(bsMinInterval);
  recordExpiryIs(bsTimer_.expiry());
  BSR_TRACE(candidateSm, 5, "Setting bootstrap timer to expire in BS_MIN_INTERVAL for ", "zone ",
            zone_);
}

// --- the record of the elected BSR ------------------------------------------------------------

void BsrCandidateSm::doUpdateElectedBsr() {
  const bool added = bsrStatus_->bootstrapRouter(zone_) == nullptr;
  const auto record = bsrStatus_->newBootstrapRouter(zone_);
  const bool other = record->ipAddr() != storedBsr_.ipAddr;
  record->ipAddrIs(storedBsr_.ipAddr);
  record->priorityIs(storedBsr_.priority);
  record->hashMaskLenIs(storedBsr_.hashMaskLen);
  if (added || other) record->setupTimeIs(now());
  BSR_TRACE(candidateSm, 4, added ? "Added" : "Updated", " Elected BSR ", storedBsr_.ipAddr,
            " with priority ", int{storedBsr_.priority}, ", hashMaskLen ", storedBsr_.hashMaskLen);
}

void BsrCandidateSm::doDelElectedBsr() {
  const auto record = bsrStatus_->bootstrapRouter(zone_);
  if (!record) return;
  BSR_TRACE(candidateSm, 4, "Deleting ", record->ipAddr(), " as elected BSR for zone");
  bsrStatus_->bootstrapRouterDel(zone_);
}

void BsrCandidateSm::recordExpiryIs(double expiry) {
  if (const auto record = bsrStatus_->bootstrapRouter(zone_)) expiryTimeIs(*record, expiry, now());
}

void BsrCandidateSm::handleElected() {
  BSR_TRACE(candidateSm, 9, "");
  if (candidate_->elected()) {
    if (!initialized_) return;
    BSR_TRACE(candidateSm, 4, "We, ", candidate_->address(), " are elected as BSR for zone ",
              zone_);
    doUpdateElectedBsr();
    engine_.rpSets().forgetEmpty(zone_);  // that the BSR before us named
    return;
  }
  BSR_TRACE(candidateSm, 4, "We, ", candidate_->address(), " are no longer BSR for zone ", zone_);
  clearRpSet("");  // while the zone is still known, so that PIM's view is cleared with it
  doDelElectedBsr();
}

// --- configuration ----------------------------------------------------------------------------

bool BsrCandidateSm::complete() const {
  return candidate_ && candidate_->priority() < priorityUnknown &&
         candidate_->hashMaskLen() < hashMaskLenUnknown &&
         candidate_->bsPeriod() != bsPeriodUnknown && usable(candidate_->address());
}

bool BsrCandidateSm::usable(const IpGenAddr& address) const {
  return !address.isUnset() && address.af() == bsrStatus_->af();
}

// A value that is taken back to "not set" leaves the last one in force.
void BsrCandidateSm::ownBsrIs() {
  if (usable(candidate_->address())) ownBsr_.ipAddr = candidate_->address();
  if (candidate_->priority() < priorityUnknown) {
    ownBsr_.priority = static_cast<std::uint8_t>(candidate_->priority());
  }
  if (candidate_->hashMaskLen() < hashMaskLenUnknown) {
    ownBsr_.hashMaskLen = candidate_->hashMaskLen();
  }
  if (candidate_->bsPeriod() != bsPeriodUnknown) bsPeriod_ = candidate_->bsPeriod();
}

void BsrCandidateSm::computeBsTimeout(const char* firstPiece) {
  bsTimeout_ = bsrStatus_->bsTimeout();
  if (bsPeriod_ < bsTimeout_) return;
  BSR_TRACE(candidateSm, 8, firstPiece, bsTimeout_,
            " secs, which is less than this C-BSR BSM interval of ", bsPeriod_,
            " secs. Overriding this with value ( 2 * BS_Period ) + 10 as recommended by RFC 5059.");
  bsTimeout_ = bsTimeoutInForce(bsTimeout_, bsPeriod_);
}

// Restarts the timer if more than this is left; never lengthens it.
void BsrCandidateSm::shortenTo(std::uint32_t seconds) {
  if (!bsTimer_.armed()) {
    BSR_TRACE(candidateSm, 5, "BS timer not set. Nothing to be done. ");
    return;
  }
  const double remaining = bsTimer_.expiry() - now();
  if (remaining < seconds) return;
  BSR_TRACE(candidateSm, 5, "BS timer expiry was in ", remaining,
            " seconds from now. Resetting BS timer expiry to ", seconds, " seconds from now.");
  bsTimer_.expiryInIs(seconds);
  if (state_ != State::pBsr) recordExpiryIs(bsTimer_.expiry());
}

void BsrCandidateSm::handleBsTimeout() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_) return;
  computeBsTimeout("BS holdtime is set to ");
  if (state_ == State::cBsr) shortenTo(bsTimeout_);
}

void BsrCandidateSm::handleBsPeriod() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_) return handleInitialized();
  ownBsrIs();
  computeBsTimeout("BS holdtime is ");
  if (state_ == State::cBsr) shortenTo(bsTimeout_);
  if (state_ == State::eBsr) shortenTo(bsPeriod_);
}

void BsrCandidateSm::handleIpChange() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_) return handleInitialized();
  ownBsrIs();
  BSR_TRACE(candidateSm, 4, "Changing IP address to ", ownBsr_.ipAddr, " for zone ", zone_);
  state_ == State::eBsr ? updateElected() : contest();
}

void BsrCandidateSm::handlePriority() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_) return handleInitialized();
  ownBsrIs();
  BSR_TRACE(candidateSm, 4, "Changing priority to ", int{ownBsr_.priority}, " for zone ", zone_);
  if (state_ != State::eBsr) return contest();
  BSR_TRACE(candidateSm, 4, "Changing priority of Elected BSR to ", int{ownBsr_.priority});
  updateElected();
}

void BsrCandidateSm::handleHashMaskLen() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_) return handleInitialized();
  ownBsrIs();
  if (state_ != State::eBsr) return;
  BSR_TRACE(candidateSm, 4, "Changing hashmask lenth of Elected BSR to ", ownBsr_.hashMaskLen);
  updateElected();
}

// Our own values are what the zone's record says; the next message announces them.
void BsrCandidateSm::updateElected() {
  ROUTING_ASSERT_TEXT(state_ == State::eBsr, "bsrCandidateSm()->state() == eBsr()");
  storedBsr_ = ownBsr_;
  doUpdateElectedBsr();
}

// Our weight changed while another BSR is followed or the back-off runs: a weight above that of the
// BSR starts an election, a shorter back-off counts at once, a longer one never.
void BsrCandidateSm::contest() {
  if (state_ == State::cBsr && weight(storedBsr_) < weight(ownBsr_)) {
    stateIs(State::pBsr);
    BSR_TRACE(candidateSm, 1, ", state=", state_, ", zone=", zone_);
    backOffIs();
  } else if (state_ == State::pBsr) {
    shortenTo(bs_rand_override());
  }
}

void BsrCandidateSm::stateIs(BsrCandidateState state) {
  if (state_ == state) return;
  state_ = state;
  handleStateChange();
}

void BsrCandidateSm::handleStateChange() {
  BSR_TRACE(candidateSm, 9, "");
  candidate_->stateIs(state_);
}

}  // namespace Routing::Pim::Bsr
