#include "bsr/engine/BsrCandidateSm.h"

#include <algorithm>
#include <utility>

#include "bsr/engine/ElectedBsrRecord.h"
#include "bsr/engine/PimBsrSm.h"
#include "bsr/engine/ZoneServices.h"
#include "bsr/types/Traces.h"
#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {
namespace {

// Seconds until unicast routing knows a new address of ours, well below the shortest back-off.
constexpr double addressSettles = 2.0;

}  // namespace

BsrCandidateSm::BsrCandidateSm(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus,
                               TimerWheel& timerWheel, PimBsrSm& engine)
    : ZoneSm(zone, std::move(bsrStatus), timerWheel, engine, traces::candidateSm),
      candidate_(bsrStatus_->cbsr(zone)),
      candidateRpSet_(zone, bsrStatus_, services_->rpSets(), services_->limits(), timerWheel),
      answers_(services_->policy().answers) {}

void BsrCandidateSm::start() {
  if (!candidate_) return;
  if (services_->policy().lapsingOffice && officeLapsed()) candidate_->electedIs(false);
  DeferredDelete& deferred = services_->deferred();
  const auto on = [&](auto handler) {
    return deferred.held([this, handler] { (this->*handler)(); });
  };
  reactors_.push_back(bsrStatus_->bsTimeoutReactor(on(&BsrCandidateSm::handleBsTimeout)));
  reactors_.push_back(candidate_->addressReactor(on(&BsrCandidateSm::handleIpChange)));
  reactors_.push_back(candidate_->priorityReactor(on(&BsrCandidateSm::handlePriority)));
  reactors_.push_back(candidate_->hashMaskLenReactor(on(&BsrCandidateSm::handleHashMaskLen)));
  reactors_.push_back(candidate_->bsPeriodReactor(on(&BsrCandidateSm::handleBsPeriod)));
  reactors_.push_back(candidate_->electedReactor(on(&BsrCandidateSm::handleElected)));
  const Turn turn = joinTurn();
  candidate_->stateIs(state_);
  turn([&] { handleInitialized(); });
}

void BsrCandidateSm::retire() {
  services_->announcingIs(zone(), false);
  ZoneSm::retire();
  reactors_.clear();
}

// --- the table --------------------------------------------------------------------------------
//
// One function for each event, one arm for each state. The order of the steps matters, and a turn
// that was overtaken takes no further step.

#define BSR_STATE(next) \
  (stateIs(next), BSR_TRACE(candidateSm, 1, ", state=", state_, ", zone=", zone()))

void BsrCandidateSm::handlePreferredBsm() {
  const Bsm bsm = bsm_;
  BSR_TRACE(candidateSm, 9, "");
  const Turn turn = beginTurn();
  BSR_STATE(State::cBsr);
  turn([&] { candidate_->electedIs(false); });  // ends our record and RP set before the new BSR's
  turn([&] { clearOthersRpSet(bsm); });
  turn([&] { storedBsrIs(bsm); });
  turn([&] { forwardOrTrace(bsm, turn); });
  turn([&] { learn(bsm, turn); });
  turn([&] { awaitNextBsm(); });
}

void BsrCandidateSm::handleNonPreferredBsm() {
  const Bsm bsm = bsm_;
  BSR_TRACE(candidateSm, 9, "");
  const Turn turn = beginTurn();
  switch (state_) {
    case State::cBsr:
      BSR_STATE(State::pBsr);
      turn([&] { forwardOrTrace(bsm, turn); });
      turn([&] { lowerStoredBsr(bsm); });  // the back-off is reckoned from what is left of it
      turn([&] { takeLastWords(bsm, turn); });
      turn([&] { backOffIs(); });
      break;
    case State::pBsr:
      BSR_STATE(State::pBsr);
      turn([&] { forwardOrTrace(bsm, turn); });
      turn([&] { learnWaiting(bsm, turn); });
      break;
    case State::eBsr:
      BSR_STATE(State::eBsr);
      turn([&] { answer(); });
      break;
    case State::noInfoBsr:
      ROUTING_ASSERT_TEXT(false, "0 && \"Invalid Candidate BSR state\"");
  }
}

// News of our own earlier life: what we announced then still holds.
void BsrCandidateSm::handleOwnBsm() {
  const Bsm bsm = bsm_;
  const Turn turn = beginTurn();
  turn([&] { forwardOrTrace(bsm, turn); });
  turn([&] { learn(bsm, turn); });
}

void BsrCandidateSm::handleBsrTimerExpiry() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_) return;
  const Turn turn = beginTurn();
  const bool wins = state_ == State::pBsr;
  switch (state_) {
    case State::cBsr:
      BSR_STATE(State::pBsr);
      turn([&] { backOffIs(); });
      break;
    case State::pBsr:
    case State::eBsr:
      BSR_STATE(State::eBsr);
      storedBsr_ = ownBsr_;
      turn([&] { candidate_->electedIs(true); });  // records us
      if (wins) turn([&] { takeOver(); });
      turn([&] { originate(); });
      if (!turn.goesOn()) return;
      BSR_TRACE(candidateSm, 5, "Next Expiry Time in ", nextOwnBsm(), " seconds");
      break;
    case State::noInfoBsr:
      ROUTING_ASSERT_TEXT(false, "0 && \"Invalid Candidate BSR state\"");
  }
}

void BsrCandidateSm::handleInitialized() {
  BSR_TRACE(candidateSm, 9, "");
  if (initialized_) return;
  if (!complete()) {
    BSR_TRACE(candidateSm, 4, "Postponing initialization of CandidateSm ", zone(),
              " till all the attributes of Candidate Bsr is initialized.");
    return;
  }
  const Turn turn = beginTurn();
  ownBsrIs();
  computeBsTimeout("BS holdtime is set to ");
  storedBsr_ = betterOfRecordAndOwn();
  initialized_ = true;  // from here on messages are sent
  stateIs(State::pBsr);
  BSR_TRACE(candidateSm, 1, ", state=", state_, " ,zone=", zone());
  if (!turn.goesOn()) return;
  if (!candidate_->elected()) return awaitPriming();
  stateIs(State::eBsr);  // elected before a restart
  BSR_TRACE(candidateSm, 1, "state=", state_, ", zone=", zone());
  storedBsr_ = ownBsr_;
  services_->announcingIs(zone(), true);
  turn([&] { doUpdateElectedBsr(); });
  turn([&] { originate(); });
}

#undef BSR_STATE

// --- what the table's arms do -----------------------------------------------------------------

void BsrCandidateSm::bsmIs(const Bsm& bsm) {
  const DeferredDelete::Hold hold(services_->deferred());
  const Bsm before = std::exchange(bsm_, bsm);
  handleBsm();
  bsm_ = before;
}

void BsrCandidateSm::handleBsm() {
  const Bsm bsm = bsm_;
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_ || !bsm) return;
  BSR_TRACE(candidateSm, 8, "BSM Priority is ", int{bsm->bsrPriority()}, " and my priority is ",
            candidate_->priority());
  if (bsm->bsrAddress() == ownBsr_.ipAddr) {
    BSR_TRACE(candidateSm, 3, "BSM names ourselves, ", ownBsr_.ipAddr, ", as BSR for zone ",
              zone());
    if (state_ == State::eBsr) return;
    if (state_ == State::pBsr) return handleOwnBsm();
  }
  const PimBsrWeight announced(bsm->bsrPriority(), bsm->bsrAddress());
  const StoredBsr& believed = state_ == State::cBsr ? storedBsr_ : ownBsr_;
  announced < weight(believed) ? handleNonPreferredBsm() : handlePreferredBsm();
}

// True if all who heard our last message have waited for the next one in vain.
bool BsrCandidateSm::officeLapsed() const {
  const auto record = bsrStatus_->bootstrapRouter(zone());
  if (!candidate_->elected() || !record) return false;
  const double lastMessage = record->expiryTime() - candidate_->bsPeriod();
  return now() >= lastMessage + bsTimeoutInForce(bsrStatus_->bsTimeout(), candidate_->bsPeriod());
}

// The BSR that the record names if it is better than we are, else ourselves.
BsrCandidateSm::StoredBsr BsrCandidateSm::betterOfRecordAndOwn() const {
  const auto record = recordedBsr();
  if (!record) return ownBsr_;
  const StoredBsr recorded{record->ipAddr(), static_cast<std::uint8_t>(record->priority()),
                           record->hashMaskLen()};
  return weight(ownBsr_) < weight(recorded) ? recorded : ownBsr_;
}

void BsrCandidateSm::clearOthersRpSet(const Bsm& bsm) {
  const auto record = bsrStatus_->bootstrapRouter(zone());
  if (!record || record->ipAddr() == bsm->bsrAddress()) return;
  clearRpSet(" since we have a new BSR. Old BSR was " + record->ipAddr().text());
}

// The message's BSR is the one that we follow from now on.
void BsrCandidateSm::storedBsrIs(const Bsm& bsm) {
  storedBsr_ = {bsm->bsrAddress(), bsm->bsrPriority(), bsm->hashMaskLen()};
  doUpdateElectedBsr();
}

// The BSR that we followed may itself say that it is worse now.
void BsrCandidateSm::lowerStoredBsr(const Bsm& bsm) {
  if (bsm->bsrAddress() != storedBsr_.ipAddr) return;
  storedBsr_.priority = bsm->bsrPriority();
  storedBsr_.hashMaskLen = bsm->hashMaskLen();
  doUpdateElectedBsr();
}

// What the BSR that we follow says when it leaves still holds, above all what it withdraws.
void BsrCandidateSm::takeLastWords(const Bsm& bsm, const Turn& turn) {
  if (services_->policy().handOver && bsm->bsrAddress() == storedBsr_.ipAddr) learn(bsm, turn);
}

// While we wait, the others may follow a BSR that is worse than we are. By default its message is
// kept and no more.
void BsrCandidateSm::learnWaiting(const Bsm& bsm, const Turn& turn) {
  if (services_->policy().earlyView) return learn(bsm, turn);
  lastBsm_.messageIs(bsm, now());
}

void BsrCandidateSm::learn(const Bsm& bsm, const Turn& turn) {
  services_->storeRpSet(zone(), *bsm, false, &turn);
  turn([&] { lastBsmIs(bsm); });
}

void BsrCandidateSm::awaitNextBsm() {
  bsTimer_.expiryInIs(bsTimeout_);
  recordExpiryIs(bsTimer_.expiry());
  BSR_TRACE(candidateSm, 5, " Next Expiry Timer expires in about ", bsTimeout_, " secs from now");
}

void BsrCandidateSm::backOffIs() {
  const std::uint32_t delay = bs_rand_override();
  bsTimer_.expiryInIs(delay);
  BSR_TRACE(candidateSm, 5, "Next Expiry Time in ", delay, " seconds");
}

// The first back-off gives the neighbours time to say what they know.
void BsrCandidateSm::awaitPriming() {
  const std::uint32_t delay = std::max(bs_rand_override(), services_->policy().primingWait);
  bsTimer_.expiryInIs(delay);
  BSR_TRACE(candidateSm, 5, " Next Expiry Time in ", delay, " seconds");
}

std::uint32_t BsrCandidateSm::bs_rand_override() const {
  const BackOff delay = backOff(weight(ownBsr_), weight(storedBsr_));
  BSR_TRACE(candidateSm, 5, "addrDelay=", delay.addrDelay, ", priorityDelay=", delay.priorityDelay,
            ", delay=", delay.delay, ", bs_rand_override=", delay.seconds);
  return delay.seconds;
}

// --- our own messages -------------------------------------------------------------------------

// A worse message is answered at once, or as soon as the bucket bears it.
void BsrCandidateSm::answer() {
  const double wait = answers_.take(now());
  if (wait == 0.0) {
    const Turn turn = joinTurn();
    originate();
    if (!turn.goesOn()) return;
    BSR_TRACE(candidateSm, 5, "Next Expiry Time is ", nextOwnBsm(), " seconds");
    return;
  }
  if (bsTimer_.expiry() > now() + wait) {
    bsTimer_.expiryInIs(wait);
    recordExpiryIs(bsTimer_.expiry());
  }
  BSR_TRACE(candidateSm, 5, "Too many answers. The next one in ", wait, " seconds");
}

// Groups keep the RPs that they have: those of the BSR before us that we never heard of otherwise.
void BsrCandidateSm::takeOver() {
  const Turn turn = joinTurn();
  const Bsm heard = lastBsm_.message();
  if (services_->policy().bridging && heard && heard->bsrAddress() != ownBsr_.ipAddr) {
    candidateRpSet_.bridge(*heard, lastBsm_.since(), ownBsr_.hashMaskLen, turn);
  }
  turn([&] { candidateRpSet_.trim(turn); });
}

// Sends our message and waits for the next period.
void BsrCandidateSm::originate() {
  const Turn turn = joinTurn();
  doSendBsm(false);
  turn([&] { bsTimer_.expiryInIs(nextOwnBsm()); });
  turn([&] { recordExpiryIs(bsTimer_.expiry()); });
}

// What nobody heard, had not room for all, or withdrew something is followed soon by another
// message.
double BsrCandidateSm::nextOwnBsm() const {
  const bool soon = !allAnnounced_ || unheard() || !withdrawn_.empty();
  return soon ? std::min<double>(bsPeriod_, bsMinInterval) : bsPeriod_;
}

bool BsrCandidateSm::unheard() const {
  return state() == State::eBsr && !heard_ && services_->policy().untilHeard;
}

void BsrCandidateSm::doSendBsm(bool shutdown) {
  BSR_TRACE(candidateSm, 9, "doSendBsm", " ( shutdown=", shutdown ? "True" : "False");
  if (!initialized_) return;
  const DeferredDelete::Hold hold(services_->deferred());
  const Turn turn = joinTurn();
  const Bsm bsm = ownBsm(shutdown);
  turn([&] { lastBsm_.messageIs(bsm, now()); });
  turn([&] { services_->announced(zone(), *bsm); });
  turn([&] { heard_ = services_->forwardBsm(zone(), bsm, &turn); });
}

ZoneSm::Bsm BsrCandidateSm::ownBsm(bool shutdown) {
  auto bsm = std::make_shared<BootstrapMessage>();
  bsm->fragmentTagIs(freshTag());
  bsm->forwardIs(true);
  bsm->hashMaskLenIs(static_cast<std::uint8_t>(ownBsr_.hashMaskLen));
  bsm->bsrPriorityIs(shutdown ? 0 : ownBsr_.priority);
  bsm->bsrAddressIs(ownBsr_.ipAddr);
  allAnnounced_ = true;
  const bool insists = services_->policy().withdrawTwice && !shutdown;
  const Withdrawn before = std::exchange(withdrawn_, {});
  const auto add = [&](const RpCandidateSet* rpSet, const IpGenPrefix& prefix, std::uint8_t flags) {
    const auto again = [&](const RpEntry& rp) {
      return insists && !before.contains({prefix, rp.address()}) &&
             withdrawn_.insert({prefix, rp.address()}).second;
    };
    if (!services_->doAddGroupData(*bsm, rpSet, prefix, flags, again)) allAnnounced_ = false;
  };
  const auto rpSets = services_->rpSets().ofZone(zone());
  if (scoped()) {
    const auto own = services_->rpSets().find(zone(), zone());
    add(own.get(), zone(), GroupFlags::zoneFlag);
  }
  for (const auto& rpSet : rpSets) {
    if (!scoped() || rpSet->prefix() != zone()) add(rpSet.get(), rpSet->prefix(), 0);
  }
  return bsm;
}

// Not that of our message before: its fragments may still be under way.
std::uint16_t BsrCandidateSm::freshTag() {
  const Bsm before = lastBsm_.message();
  const auto draw = [&] { return static_cast<std::uint16_t>(services_->random().draw()); };
  std::uint16_t tag = draw();
  while (before && tag == before->fragmentTag()) tag = draw();
  return tag;
}

// --- candidate RPs ----------------------------------------------------------------------------

void BsrCandidateSm::doAddCrp(const CrpGroupInfo& groupInfo, const IpGenAddr& rpAddress,
                              RpPriority priority, CrpHoldTime holdtime) {
  const Turn turn = joinTurn();
  const bool changed = candidateRpSet_.doAddCrp(groupInfo, rpAddress, priority, holdtime,
                                                {ownBsr_.hashMaskLen, bsPeriod_});
  if (changed) turn([&] { pullForward(); });
}

bool BsrCandidateSm::doExpireCrp(RpEntry& rp) {
  if (!services_->policy().expiry || state_ != State::eBsr) return false;
  const Turn turn = joinTurn();
  if (!candidateRpSet_.withdraw(rp)) return false;
  turn([&] { pullForward(); });
  return true;
}

std::size_t BsrCandidateSm::withdrawRps(const IpGenAddr& address) {
  const Turn turn = joinTurn();
  std::size_t withdrawn = 0;
  for (const auto& set : services_->rpSets().ofZone(zone())) {
    const std::map<IpGenAddr, std::shared_ptr<RpEntry>> rps(set->rp().begin(), set->rp().end());
    for (const auto& [rp, entry] : rps) {
      const bool meant = address.isUnset() || rp == address;
      if (turn.goesOn() && meant && candidateRpSet_.withdraw(*entry)) ++withdrawn;
    }
  }
  if (withdrawn > 0) turn([&] { pullForward(); });
  return withdrawn;
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
            zone());
}

// --- the record of the elected BSR ------------------------------------------------------------

void BsrCandidateSm::doUpdateElectedBsr() {
  const Turn turn = joinTurn();
  const bool added = bsrStatus_->bootstrapRouter(zone()) == nullptr;
  const auto record = bsrStatus_->newBootstrapRouter(zone());
  const StoredBsr bsr = storedBsr_;
  const bool other = record->ipAddr() != bsr.ipAddr;
  turn([&] { record->ipAddrIs(bsr.ipAddr); });
  turn([&] { record->priorityIs(bsr.priority); });
  turn([&] { record->hashMaskLenIs(bsr.hashMaskLen); });
  if (added || other) turn([&] { record->setupTimeIs(now()); });
  if (!turn.goesOn()) return dropNamelessRecord();
  BSR_TRACE(candidateSm, 4, added ? "Added" : "Updated", " Elected BSR ", bsr.ipAddr,
            " with priority ", int{bsr.priority}, ", hashMaskLen ", bsr.hashMaskLen);
}

void BsrCandidateSm::doDelElectedBsr() {
  const auto record = bsrStatus_->bootstrapRouter(zone());
  if (!record) return;
  BSR_TRACE(candidateSm, 4, "Deleting ", record->ipAddr(), " as elected BSR for zone");
  bsrStatus_->bootstrapRouterDel(zone());
}

void BsrCandidateSm::handleElected() {
  BSR_TRACE(candidateSm, 9, "");
  const Turn turn = joinTurn();
  services_->announcingIs(zone(), candidate_->elected());
  if (candidate_->elected()) {
    if (!initialized_) return;
    BSR_TRACE(candidateSm, 4, "We, ", candidate_->address(), " are elected as BSR for zone ",
              zone());
    doUpdateElectedBsr();
    turn([&] { services_->rpSets().forgetEmpty(zone()); });  // that the BSR before us named
    return;
  }
  BSR_TRACE(candidateSm, 4, "We, ", candidate_->address(), " are no longer BSR for zone ", zone());
  withdrawn_.clear();
  clearRpSet("");  // while the zone is still known, so that PIM's view is cleared with it
  turn([&] { doDelElectedBsr(); });
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

void BsrCandidateSm::shortenBsTimer(std::uint32_t seconds) {
  if (shortenTo(bsTimer_, seconds, bsTexts) && state_ != State::pBsr) {
    recordExpiryIs(bsTimer_.expiry());
  }
}

void BsrCandidateSm::handleBsTimeout() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_) return;
  computeBsTimeout("BS holdtime is set to ");
  if (state_ == State::cBsr) shortenBsTimer(bsTimeout_);
}

void BsrCandidateSm::handleBsPeriod() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_) return handleInitialized();
  ownBsrIs();
  computeBsTimeout("BS holdtime is ");
  if (state_ == State::cBsr) shortenBsTimer(bsTimeout_);
  if (state_ == State::eBsr) shortenBsTimer(bsPeriod_);
}

void BsrCandidateSm::handleIpChange() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_) return handleInitialized();
  const Turn turn = joinTurn();
  const bool moves = state_ == State::eBsr && services_->policy().handOver &&
                     usable(candidate_->address()) && candidate_->address() != ownBsr_.ipAddr;
  if (moves) doSendBsm(true);  // in the name of the old address
  if (!turn.goesOn()) return;
  ownBsrIs();
  BSR_TRACE(candidateSm, 4, "Changing IP address to ", ownBsr_.ipAddr, " for zone ", zone());
  state_ == State::eBsr ? updateElected() : contest();
  if (moves) turn([&] { bsTimer_.expiryInIs(addressSettles); });
}

void BsrCandidateSm::handlePriority() {
  BSR_TRACE(candidateSm, 9, "");
  if (!initialized_) return handleInitialized();
  ownBsrIs();
  BSR_TRACE(candidateSm, 4, "Changing priority to ", int{ownBsr_.priority}, " for zone ", zone());
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
    const Turn turn = beginTurn();
    stateIs(State::pBsr);
    BSR_TRACE(candidateSm, 1, ", state=", state_, ", zone=", zone());
    turn([&] { backOffIs(); });
  } else if (state_ == State::pBsr) {
    shortenBsTimer(bs_rand_override());
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
