#include "bsr/engine/PimBsrSm.h"

#include <cstdlib>
#include <utility>

#include "bsr/engine/BsrCandidateSm.h"
#include "bsr/engine/BsrNonCandidateSm.h"
#include "bsr/engine/PimBsrSmReactors.h"
#include "bsr/engine/RpCandidateSm.h"
#include "bsr/types/Traces.h"
#include "platform/entity/Assertion.h"
#include "platform/entity/RangeError.h"

namespace Routing::Pim::Bsr {

PimBsrSm::PimBsrSm(std::shared_ptr<Status> bsrStatus, std::shared_ptr<const PimStatus> pimStatus,
                   std::shared_ptr<PimBsmStatus> bsmStatus,
                   std::shared_ptr<PimCrpMsgStatus> crpMsgStatus,
                   std::shared_ptr<RpCandidateStatus> rpCandidateStatus, TimerWheel& timerWheel,
                   std::shared_ptr<const AllIntfStatusDir> allIntfStatusDir,
                   EngineOptions options)
    : bsrStatus_(std::move(bsrStatus)),
      pimStatus_(std::move(pimStatus)),
      bsmStatus_(std::move(bsmStatus)),
      crpMsgStatus_(std::move(crpMsgStatus)),
      rpCandidateStatus_(std::move(rpCandidateStatus)),
      timerWheel_(timerWheel),
      allIntfStatusDir_(std::move(allIntfStatusDir)),
      limits_(options.limits ? std::move(options.limits) : std::make_shared<PimBsrLimits>()),
      lastBsmStore_(options.lastBsmStore),
      policy_(options.policy),
      random_(std::move(options.random)),
      rpSets_(bsrStatus_, limits_, rpSetTotals_),
      lastBsmBudget_(bsrStatus_, limits_) {
  ROUTING_ASSERT_TEXT(bsrStatus_, "bsrStatus()");
  ROUTING_ASSERT_TEXT(pimStatus_, "pimStatus()");
  ROUTING_ASSERT_TEXT(bsmStatus_, "bsmStatus()");
  ROUTING_ASSERT_TEXT(crpMsgStatus_, "crpMsgStatus()");
  ROUTING_ASSERT_TEXT(rpCandidateStatus_, "rpCandidateStatus()");
  ROUTING_ASSERT_TEXT(allIntfStatusDir_, "allIntfStatusDir()");
  wire();
  handleBsrCandidate();
  handleRpCandidate();
  handleBsm();
  handleCrpMsg();
  handleInitialized();
}

PimBsrSm::~PimBsrSm() {
  reactors_.clear();
  crp_.clear();
  rpCandidateSm_.clear();
  nonCandidateSm_.clear();
  candidateSm_.clear();
}

void PimBsrSm::wire() {
  reactors_.push_back(bsrStatus_->afReactor([this] { handleAf(); }));
  reactors_.push_back(
      bsrStatus_->cbsrReactor([this](const IpGenPrefix& zone) { handleBsrCandidate(zone); }));
  reactors_.push_back(
      bsrStatus_->bootstrapRouterReactor([this](const IpGenPrefix& zone) { handleBsr(zone); }));
  reactors_.push_back(
      bsrStatus_->crpReactor([this](const IpGenAddr& address) { handleCrp(address); }));
  reactors_.push_back(
      pimStatus_->pimIntfReactor([this](const IntfId& intf) { handlePimIntf(intf); }));
  reactors_.push_back(bsmStatus_->rxBsmReactor([this] { handleBsm(); }));
  reactors_.push_back(crpMsgStatus_->readCountReactor([this] { handleCrpMsg(); }));
  for (const auto& [intf, status] : pimStatus_->pimIntf()) handlePimIntf(intf);
}

void PimBsrSm::handleInitialized() {
  BSR_TRACE(sm, 9, "");
  std::srand(static_cast<unsigned>(timerWheel_.now()));
  const AddressFamily af = bsrStatus_->af();
  if (af == AddressFamily::unset) {
    BSR_TRACE(sm, 3, "Address Family not initialized in status");
    return;
  }
  globalOrNonScopeZone_ = IpGenPrefix::multicast(af);
  bsrTrie_ =
      std::make_shared<TrieGen>(af == AddressFamily::ipv4 ? "PimBsrTrie" : "PimBsr6Trie", af);
  rpCandidateStatus_->rpSetTypeIs(RpSetType::bsr);
  bsrTrieBuilder_ = std::make_unique<PimBsrTrieBuilderSm>(bsrStatus_, bsrTrie_);
  installer_ = std::make_unique<RpSetInstaller>(vrfName(), rpSets_, limits_, timerWheel_);
  sender_ = std::make_unique<BsmSender>(bsrStatus_, pimStatus_, bsmStatus_, allIntfStatusDir_,
                                        [this](const IntfId& oif) {
                                          const auto it = pimIntf_.find(oif);
                                          if (it != pimIntf_.end()) it->second->wasDrClear();
                                        });
  mirror_ = std::make_unique<RpSetMirror>(bsrStatus_, rpCandidateStatus_, rpSets_, rpSetTotals_,
                                          timerWheel_, *bsrTrie_);
  initialized_ = true;
  for (const auto& [zone, bsr] : bsrStatus_->bootstrapRouter()) handleBsr(zone);
  handleBsrCandidate();
  handleRpCandidate();
  maybeInitNonCandidateSm();
}

void PimBsrSm::handleAf() {
  BSR_TRACE(sm, 9, "");
  if (bsrStatus_->af() == AddressFamily::unset) {
    if (initialized_) teardown();
  } else if (!initialized_) {
    handleInitialized();
  }
}

void PimBsrSm::teardown() {
  crp_.clear();
  rpCandidateSm_.clear();
  BSR_TRACE(sm, 4, "Deleted all RP Candidate SMs");
  nonCandidateSm_.clear();
  BSR_TRACE(sm, 4, "Deleted all Non Candidate SMs");
  while (!candidateSm_.empty()) {
    const IpGenPrefix zone = candidateSm_.begin()->first;
    candidateSm_.erase(zone);
    handleCandidateSm(zone);
  }
  BSR_TRACE(sm, 4, "Deleted all Candidate SMs");
  // No hold timer runs from here on, so no RP may stay in PIM's view.
  bsrStatus_->crpStatusDelAll();
  if (lastBsmStore_ != nullptr) lastBsmStore_->lastBsmDelAll();
  initialized_ = false;
  bsr_.clear();
  mirror_.reset();
  sender_.reset();
  installer_.reset();
  bsrTrieBuilder_.reset();
  bsrTrie_.reset();
}

// --- zones ------------------------------------------------------------------------------------

std::shared_ptr<BsrCandidateSm> PimBsrSm::candidateSm(const IpGenPrefix& zone) const {
  const auto it = candidateSm_.find(zone);
  return it == candidateSm_.end() ? nullptr : it->second;
}

std::shared_ptr<BsrNonCandidateSm> PimBsrSm::nonCandidateSm(const IpGenPrefix& zone) const {
  const auto it = nonCandidateSm_.find(zone);
  return it == nonCandidateSm_.end() ? nullptr : it->second;
}

void PimBsrSm::handleBsrCandidate() {
  BSR_TRACE(sm, 9, "");
  if (!initialized_) return;
  std::vector<IpGenPrefix> zones;
  for (const auto& entry : bsrStatus_->cbsr()) zones.push_back(entry.first);
  for (const IpGenPrefix& zone : zones) handleBsrCandidate(zone);
}

void PimBsrSm::handleBsrCandidate(const IpGenPrefix& zone) {
  BSR_TRACE(sm, 9, " ( ", zone, " )");
  if (!initialized_) return;
  if (bsrStatus_->cbsr(zone)) {
    // One bootstrap timer at a time may age the zone's record.
    if (nonCandidateSm_.erase(zone) > 0) BSR_TRACE(sm, 4, "Deleted ", zone, " NonCandidate SM");
    if (!candidateSm(zone)) {
      candidateSm_[zone] = std::make_shared<BsrCandidateSm>(zone, bsrStatus_, timerWheel_, *this);
      handleCandidateSm(zone);
    }
    BSR_TRACE(sm, 4, "Instantiated Candidate SM for zone ", zone);
    return;
  }
  const auto machine = candidateSm(zone);
  if (!machine) return;
  const auto candidate = machine->candidate();  // no longer in the status, but still ours
  if (candidate && candidate->elected()) {
    machine->doSendBsm(true);
    candidate->electedIs(false);
  }
  candidateSm_.erase(zone);
  BSR_TRACE(sm, 4, "Deleted Candidate SM", " for zone ", zone);
  handleCandidateSm(zone);
  maybeInitNonCandidateSm();  // a BSR that was followed goes on being followed
  if (!nonCandidateSm(zone)) zoneGone(zone);
}

void PimBsrSm::handleCandidateSm(const IpGenPrefix& zone) {
  BSR_TRACE(sm, 9, " ( ", zone, " )");
  if (candidateSm(zone)) return;
  const auto& candidate = bsrStatus_->cbsr(zone);
  if (!candidate || !candidate->elected()) return;
  bsrStatus_->bootstrapRouterDel(zone);
  BSR_TRACE(sm, 4, "Deleted BSR for zone ", zone);
}

void PimBsrSm::maybeInitNonCandidateSm() {
  BSR_TRACE(sm, 9, "");
  for (const auto& [zone, bsr] : bsrStatus_->bootstrapRouter()) {
    if (candidateSm(zone) || nonCandidateSm(zone)) continue;
    nonCandidateSm_[zone] =
        std::make_shared<BsrNonCandidateSm>(zone, bsrStatus_, timerWheel_, timerWheel_, *this);
    BSR_TRACE(sm, 4, "Created Non Candidate SM for zone ", zone);
  }
}

void PimBsrSm::nonCandidateSmDel(const IpGenPrefix& zone) {
  if (nonCandidateSm_.erase(zone) > 0) zoneGone(zone);
}

// Nothing of a zone is left behind: what its groups had, and what intake knows of it.
void PimBsrSm::zoneGone(const IpGenPrefix& zone) {
  bsrStatus_->crpStatusDel(zone);
  if (lastBsmStore_ != nullptr) lastBsmStore_->lastBsmDel(zone);
}

bool PimBsrSm::roomForZone(const IpGenPrefix& zone) {
  const std::size_t zones = nonCandidateSm_.size() - nonCandidateSm_.count(globalOrNonScopeZone_);
  if (zones < limits_->maxZones()) return true;
  limits_->refusedZonesInc();
  BSR_TRACE(sm, 1, "No room for zone ", zone, " besides ", zones, " zones");
  zoneGone(zone);
  return false;
}

void PimBsrSm::handleBsm() {
  BSR_TRACE(sm, 9, "");
  const std::shared_ptr<BootstrapMessage> bsm = bsmStatus_->rxBsm();
  if (!bsm) return;
  if (!initialized_) {
    // There is no machine that would forget the zone in time.
    if (lastBsmStore_ != nullptr) lastBsmStore_->lastBsmDelAll();
    return;
  }
  if (bsm->bsrAddress().af() != bsrStatus_->af()) return;
  const IpGenPrefix zone = zoneOf(*bsm, globalOrNonScopeZone_);
  if (zone == globalOrNonScopeZone_) {
    handleGlobalBsm(bsm);
  } else {
    handleScopedBsm(zone, bsm);
  }
}

void PimBsrSm::handleScopedBsm(const IpGenPrefix& zone,
                               const std::shared_ptr<BootstrapMessage>& bsm) {
  if (const auto candidate = candidateSm(zone)) {
    BSR_TRACE(sm, 4, "Trigger Scoped Candidate SM Scope: ", zone);
    candidate->bsmIs(bsm);
    return;
  }
  auto machine = nonCandidateSm(zone);
  if (!machine) {
    if (!roomForZone(zone)) return;
    machine =
        std::make_shared<BsrNonCandidateSm>(zone, bsrStatus_, timerWheel_, timerWheel_, *this);
    nonCandidateSm_[zone] = machine;
    BSR_TRACE(sm, 4, "Instantiated Scoped NonCandidate SM Scope: ", zone);
  }
  machine->bsmIs(bsm);
}

void PimBsrSm::handleGlobalBsm(const std::shared_ptr<BootstrapMessage>& bsm) {
  if (const auto candidate = candidateSm(globalOrNonScopeZone_)) {
    BSR_TRACE(sm, 4, "Trigger Global/Non-Scoped Candidate SM");
    candidate->bsmIs(bsm);
    return;
  }
  auto machine = nonCandidateSm(globalOrNonScopeZone_);
  if (!machine) {
    machine = std::make_shared<BsrNonCandidateSm>(globalOrNonScopeZone_, bsrStatus_, timerWheel_,
                                                  timerWheel_, *this);
    nonCandidateSm_[globalOrNonScopeZone_] = machine;
    BSR_TRACE(sm, 4, "Instantiated Global/Non-Scoped Non Candidate SM");
  }
  machine->bsmIs(bsm);
}

// --- candidate-RP advertisements --------------------------------------------------------------

void PimBsrSm::handleCrpMsg() {
  BSR_TRACE(sm, 9, "");
  const std::shared_ptr<CrpGroupInfo> group = crpMsgStatus_->groupInfo();
  if (!initialized_ || !group) return;
  const IpGenPrefix zone = bsrTrie_->longestMatch(group->groupInfo());
  const auto machine = zone.isNone() ? nullptr : candidateSm(zone);
  if (!machine || !machine->initialized() || machine->state() != BsrCandidateState::eBsr) {
    crpMsgRejected(zone);
    return;
  }
  BSR_TRACE(sm, 8, "Passing Crp Adv Message to Candidate BSR ", crpMsgStatus_->bsrIp(),
            " for zone ", zone);
  machine->doAddCrp(*group, crpMsgStatus_->rp(), crpMsgStatus_->priority(),
                    crpMsgStatus_->holdTime());
}

// Nobody takes a range. The message it came in counts as one error.
void PimBsrSm::crpMsgRejected(const IpGenPrefix& zone) {
  BSR_TRACE(sm, 3, "Rx Error - Dropping Crp Adv Message to Candidate BSR ", crpMsgStatus_->bsrIp(),
            " for zone ", zone);
  const auto& counters = bsrStatus_->counters();
  if (!counters || crpMsgStatus_->rxCrpMsg() == lastRejected_) return;
  lastRejected_ = crpMsgStatus_->rxCrpMsg();
  counters->rxErrorInc();
  counters->rxCrpAdvErrorInc();
  PimBsrErrorCounters errors = counters->errCounters();
  errors.rxScopeMismatchIs(errors.rxScopeMismatch() + 1);
  counters->errCountersIs(errors);
}

// --- services for the zone machines -----------------------------------------------------------

void PimBsrSm::storeRpSet(const IpGenPrefix& zone, const BootstrapMessage& bsm, bool refresh) {
  if (!initialized_) return;
  try {
    installer_->storeRpSet(zone, bsm, refresh);
  } catch (const RangeError& error) {
    BSR_TRACE(sm, 1, "RP set of zone ", zone, " not installed: ", error.what());
  }
}

void PimBsrSm::refreshRpSet(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm) {
  if (!initialized_ || !bsm) return;
  bsm->forwardIs(true);
  storeRpSet(zone, *bsm, true);
}

std::shared_ptr<PimBsrRxFragments> PimBsrSm::bsmRxFragments(std::uint16_t tag) const {
  return initialized_ ? installer_->reassembly().bsmRxFragments(tag) : nullptr;
}

void PimBsrSm::bsmRxFragmentsDel(const std::shared_ptr<PimBsrRxFragments>& fragments) {
  if (initialized_) installer_->reassembly().bsmRxFragmentsDel(fragments);
}

void PimBsrSm::doAddGroupData(BootstrapMessage& bsm, const RpCandidateSet* rpSet,
                              const IpGenPrefix& prefix, std::uint8_t flags) {
  if (initialized_) sender_->doAddGroupData(bsm, rpSet, prefix, flags, timerWheel_.now());
}

void PimBsrSm::forwardBsm(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm) {
  if (initialized_) sender_->forwardBsm(zone, bsm);
}

void PimBsrSm::doSendTriggeredBsm(const IpGenPrefix& zone, bool forward, const IntfId& oif,
                                  const std::shared_ptr<BootstrapMessage>& bsm) {
  if (initialized_) sender_->doSendTriggeredBsm(zone, forward, oif, bsm);
}

}  // namespace Routing::Pim::Bsr
