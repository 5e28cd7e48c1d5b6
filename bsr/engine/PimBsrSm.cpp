#include "bsr/engine/PimBsrSm.h"

#include <utility>

#include "bsr/engine/AnnouncedHashMaskLen.h"
#include "bsr/engine/BsrCandidateSm.h"
#include "bsr/engine/BsrNonCandidateSm.h"
#include "bsr/engine/ElectedBsrRecord.h"
#include "bsr/types/Traces.h"
#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {

PimBsrSm::PimBsrSm(std::shared_ptr<Status> bsrStatus, std::shared_ptr<const PimStatus> pimStatus,
                   std::shared_ptr<PimBsmStatus> bsmStatus,
                   std::shared_ptr<PimCrpMsgStatus> crpMsgStatus,
                   std::shared_ptr<RpCandidateStatus> rpCandidateStatus, TimerWheel& timerWheel,
                   std::shared_ptr<const AllIntfStatusDir> allIntfStatusDir, EngineOptions options)
    : bsrStatus_(std::move(bsrStatus)),
      pimStatus_(std::move(pimStatus)),
      bsmStatus_(std::move(bsmStatus)),
      crpMsgStatus_(std::move(crpMsgStatus)),
      rpCandidateStatus_(std::move(rpCandidateStatus)),
      timerWheel_(timerWheel),
      allIntfStatusDir_(std::move(allIntfStatusDir)),
      lastBsmStore_(options.lastBsmStore),
      deferred_(options.deferred ? std::move(options.deferred)
                                 : std::make_shared<DeferredDelete>()),
      services_(std::make_shared<ZoneServices>(bsrStatus_, timerWheel, std::move(options.limits),
                                               options.policy, std::move(options.random),
                                               deferred_)) {
  ROUTING_ASSERT_TEXT(bsrStatus_, "bsrStatus()");
  ROUTING_ASSERT_TEXT(pimStatus_, "pimStatus()");
  ROUTING_ASSERT_TEXT(bsmStatus_, "bsmStatus()");
  ROUTING_ASSERT_TEXT(crpMsgStatus_, "crpMsgStatus()");
  ROUTING_ASSERT_TEXT(rpCandidateStatus_, "rpCandidateStatus()");
  ROUTING_ASSERT_TEXT(allIntfStatusDir_, "allIntfStatusDir()");
  const DeferredDelete::Hold hold(deferred());
  wire();
  handleBsrCandidate();
  handleRpCandidate();
  handleBsm();
  handleCrpMsg();
  handleInitialized();
}

PimBsrSm::~PimBsrSm() {
  retire();
}

void PimBsrSm::wire() {
  reactors_.push_back(bsrStatus_->afReactor(deferred().held([this] { handleAf(); })));
  reactors_.push_back(bsrStatus_->cbsrReactor(
      deferred().held([this](const IpGenPrefix& zone) { handleBsrCandidate(zone); })));
  reactors_.push_back(bsrStatus_->bootstrapRouterReactor(
      deferred().held([this](const IpGenPrefix& zone) { handleBsr(zone); })));
  reactors_.push_back(bsrStatus_->crpReactor(
      deferred().held([this](const IpGenAddr& address) { handleCrp(address); })));
  priming_ = std::make_shared<NeighborPriming>(vrfName(), pimStatus_, services_,
                                               [this] { return machines(); });
  reactors_.push_back(bsmStatus_->rxBsmReactor(deferred().held([this] { handleBsm(); })));
  reactors_.push_back(crpMsgStatus_->readCountReactor(deferred().held([this] { handleCrpMsg(); })));
}

// --- life -------------------------------------------------------------------------------------

void PimBsrSm::handleInitialized() {
  BSR_TRACE(sm, 9, "");
  services_->random().seed(timerWheel_.now());
  const AddressFamily af = bsrStatus_->af();
  if (af == AddressFamily::unset) {
    BSR_TRACE(sm, 3, "Address Family not initialized in status");
    return;
  }
  bsrTrie_ =
      std::make_shared<TrieGen>(af == AddressFamily::ipv4 ? "PimBsrTrie" : "PimBsr6Trie", af);
  rpCandidateStatus_->rpSetTypeIs(RpSetType::bsr);
  bsrTrieBuilder_ = std::make_shared<PimBsrTrieBuilderSm>(bsrStatus_, bsrTrie_);
  services_->begin(
      std::make_unique<BsmSender>(bsrStatus_, pimStatus_, bsmStatus_, allIntfStatusDir_,
                                  [this](const IntfId& oif) { priming_->handleForwarding(oif); }));
  mirror_ = std::make_shared<RpSetMirror>(bsrStatus_, rpCandidateStatus_, *services_, *bsrTrie_);
  rpSetWatch_ = std::make_shared<RpSetWatch>(
      bsrStatus_, *mirror_, *services_, timerWheel_,
      [this](const IpGenPrefix& zone, RpEntry& rp) { return withdraw(zone, rp); });
  advertisers_ =
      std::make_shared<Advertisers>(bsrStatus_, crpMsgStatus_, bsrTrie_, timerWheel_, *services_);
  services_->viewIs([mirror = mirror_.get()](const IpGenPrefix& zone, const BootstrapMessage& bsm,
                                             bool first) { mirror->show(zone, bsm, first); });
  initialized_ = true;
  priming_->activeIs(true);
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

// The machines first; then what they said of their zones.
void PimBsrSm::teardown() {
  initialized_ = false;
  advertisers_->retire();
  BSR_TRACE(sm, 4, "Deleted all RP Candidate SMs");
  while (!nonCandidateSm_.empty()) {
    retireFrom(nonCandidateSm_, IpGenPrefix(nonCandidateSm_.begin()->first));
  }
  BSR_TRACE(sm, 4, "Deleted all Non Candidate SMs");
  while (!candidateSm_.empty()) {
    const IpGenPrefix zone = candidateSm_.begin()->first;
    retireFrom(candidateSm_, zone);
    handleCandidateSm(zone);
  }
  BSR_TRACE(sm, 4, "Deleted all Candidate SMs");
  // No hold timer runs from here on, so no RP may stay in PIM's view.
  bsrStatus_->crpStatusDelAll();
  if (lastBsmStore_ != nullptr) lastBsmStore_->lastBsmDelAll();
  end();
}

void PimBsrSm::retire() {
  const auto deferred = deferred_;
  const DeferredDelete::Hold hold(*deferred);
  reactors_.clear();
  initialized_ = false;
  if (advertisers_) advertisers_->retire();
  for (const auto& entry : nonCandidateSm_) entry.second->retire();
  for (const auto& entry : candidateSm_) entry.second->retire();
  if (priming_) priming_->retire();
  end();
}

// What is gone may still be on the stack.
void PimBsrSm::end() {
  priming_->activeIs(false);
  services_->end();
  if (rpSetWatch_) rpSetWatch_->retire();
  if (mirror_) mirror_->retire();
  for (auto& [zone, reactor] : bsr_) deferred().take(std::move(reactor));
  bsr_.clear();
  deferred().take(std::move(bsrTrie_));
  deferred().take(std::move(bsrTrieBuilder_));
  deferred().take(std::move(rpSetWatch_));
  deferred().take(std::move(mirror_));
  deferred().take(std::move(advertisers_));
}

template <class Machines>
bool PimBsrSm::retireFrom(Machines& machines, const IpGenPrefix& zone) {
  const auto it = machines.find(zone);
  if (it == machines.end()) return false;
  const auto machine = std::move(it->second);
  machines.erase(it);
  machine->retire();
  deferred().take(machine);
  return true;
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

std::vector<std::shared_ptr<const ZoneSm>> PimBsrSm::machines() const {
  std::vector<std::shared_ptr<const ZoneSm>> machines;
  for (const auto& entry : nonCandidateSm_) machines.push_back(entry.second);
  for (const auto& entry : candidateSm_) machines.push_back(entry.second);
  return machines;
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
  bsrStatus_->cbsr(zone) ? candidateSmIs(zone) : candidateSmDel(zone);
}

// One bootstrap timer at a time may age the zone's record. A candidate that was deleted may be back
// before its deletion is told.
void PimBsrSm::candidateSmIs(const IpGenPrefix& zone) {
  const auto machine = candidateSm(zone);
  if (machine && machine->candidate() != bsrStatus_->cbsr(zone)) candidateSmDel(zone);
  if (retireFrom(nonCandidateSm_, zone)) {
    BSR_TRACE(sm, 4, "Deleted ", zone, " NonCandidate SM");
  }
  if (!initialized_ || !bsrStatus_->cbsr(zone)) return;
  if (!candidateSm(zone)) {
    const auto fresh = std::make_shared<BsrCandidateSm>(zone, bsrStatus_, timerWheel_, *this);
    candidateSm_[zone] = fresh;
    fresh->start();
    handleCandidateSm(zone);
  }
  BSR_TRACE(sm, 4, "Instantiated Candidate SM for zone ", zone);
}

// The machine goes first: a reactor may configure the zone anew while it says goodbye.
void PimBsrSm::candidateSmDel(const IpGenPrefix& zone) {
  const auto machine = candidateSm(zone);
  if (!machine) return;
  candidateSm_.erase(zone);
  const auto candidate = machine->candidate();  // no longer in the status, but still ours
  std::shared_ptr<BootstrapMessage> farewell;
  if (candidate && candidate->elected()) {
    machine->doSendBsm(true);
    farewell = machine->lastBsm();
    candidate->electedIs(false);
  }
  machine->retire();
  deferred().take(machine);
  BSR_TRACE(sm, 4, "Deleted Candidate SM", " for zone ", zone);
  if (!initialized_) return;
  handleCandidateSm(zone);
  // A BSR that was followed goes on being followed. A record that names none yet is the machine's,
  // which was writing it and will delete it.
  const auto& record = bsrStatus_->bootstrapRouter(zone);
  if (!record || namesBsr(*record)) maybeInitNonCandidateSm();
  if (farewell && services_->policy().handOver) follow(zone, farewell);
  if (initialized_ && !nonCandidateSm(zone) && !candidateSm(zone)) zoneGone(zone);
}

// This router hears its own farewell like everybody else, and does not pass it on.
void PimBsrSm::follow(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& farewell) {
  if (candidateSm(zone) || nonCandidateSm(zone)) return;
  const auto machine = newNonCandidateSm(zone);
  machine->start();
  machine->bsmIs(withForward(farewell, false));
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
  std::vector<IpGenPrefix> zones;
  for (const auto& entry : bsrStatus_->bootstrapRouter()) zones.push_back(entry.first);
  for (const IpGenPrefix& zone : zones) {
    if (!initialized_) return;
    if (candidateSm(zone) || nonCandidateSm(zone)) continue;
    newNonCandidateSm(zone)->start();
    BSR_TRACE(sm, 4, "Created Non Candidate SM for zone ", zone);
  }
}

std::shared_ptr<BsrNonCandidateSm> PimBsrSm::newNonCandidateSm(const IpGenPrefix& zone) {
  auto machine =
      std::make_shared<BsrNonCandidateSm>(zone, bsrStatus_, timerWheel_, timerWheel_, *this);
  nonCandidateSm_[zone] = machine;
  return machine;
}

void PimBsrSm::nonCandidateSmDel(const IpGenPrefix& zone) {
  if (retireFrom(nonCandidateSm_, zone)) zoneGone(zone);
}

// Nothing of a zone is left behind: what its groups had, and what intake knows of it.
void PimBsrSm::zoneGone(const IpGenPrefix& zone) {
  bsrStatus_->crpStatusDel(zone);
  if (lastBsmStore_ != nullptr) lastBsmStore_->lastBsmDel(zone);
}

bool PimBsrSm::roomForZone(const IpGenPrefix& zone) {
  PimBsrLimits& limits = services_->limits();
  const std::size_t zones = nonCandidateSm_.size() - nonCandidateSm_.count(globalOrNonScopeZone());
  if (zones < limits.maxZones()) return true;
  limits.refusedZonesInc();
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
  const IpGenPrefix zone = zoneOf(*bsm, globalOrNonScopeZone());
  if (zone == globalOrNonScopeZone()) {
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
    machine = newNonCandidateSm(zone);
    machine->start();
    BSR_TRACE(sm, 4, "Instantiated Scoped NonCandidate SM Scope: ", zone);
  }
  machine->bsmIs(bsm);
}

void PimBsrSm::handleGlobalBsm(const std::shared_ptr<BootstrapMessage>& bsm) {
  if (const auto candidate = candidateSm(globalOrNonScopeZone())) {
    BSR_TRACE(sm, 4, "Trigger Global/Non-Scoped Candidate SM");
    candidate->bsmIs(bsm);
    return;
  }
  auto machine = nonCandidateSm(globalOrNonScopeZone());
  if (!machine) {
    machine = newNonCandidateSm(globalOrNonScopeZone());
    machine->start();
    BSR_TRACE(sm, 4, "Instantiated Global/Non-Scoped Non Candidate SM");
  }
  machine->bsmIs(bsm);
}

void PimBsrSm::handleBsr(const IpGenPrefix& zone) {
  BSR_TRACE(sm, 9, " ( ", zone, " )");
  if (!initialized_) return;
  const auto& bsr = bsrStatus_->bootstrapRouter(zone);
  const auto it = bsr_.find(zone);
  if (it != bsr_.end()) {
    if (it->second->bsr() == bsr) return;
    deferred().take(std::move(it->second));
    bsr_.erase(it);
  }
  if (bsr) bsr_.emplace(zone, std::make_shared<AnnouncedHashMaskLen>(bsrStatus_, bsr, services_));
}

// --- candidate RPs ----------------------------------------------------------------------------

const Advertisers::Machines& PimBsrSm::rpCandidateSm() const {
  static const Advertisers::Machines none;
  return advertisers_ ? advertisers_->rpCandidateSm() : none;
}

void PimBsrSm::handleRpCandidate() {
  BSR_TRACE(sm, 9, "");
  if (!initialized_) return;
  std::vector<IpGenAddr> addresses;
  for (const auto& entry : bsrStatus_->crp()) addresses.push_back(entry.first);
  for (const IpGenAddr& address : addresses) handleCrp(address);
}

void PimBsrSm::handleCrp(const IpGenAddr& address) {
  BSR_TRACE(sm, 9, " ( ", address, " )");
  if (initialized_) advertisers_->handleCrp(address);
}

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
  const auto counters = bsrStatus_->counters();
  if (!counters || crpMsgStatus_->rxCrpMsg() == lastRejected_) return;
  lastRejected_ = crpMsgStatus_->rxCrpMsg();
  counters->rxErrorInc();
  counters->rxCrpAdvErrorInc();
  PimBsrErrorCounters errors = counters->errCounters();
  errors.rxScopeMismatchIs(errors.rxScopeMismatch() + 1);
  counters->errCountersIs(errors);
}

bool PimBsrSm::withdraw(const IpGenPrefix& zone, RpEntry& rp) {
  const auto machine = candidateSm(zone);
  return machine && machine->doExpireCrp(rp);
}

// --- what operators ask for -------------------------------------------------------------------

std::size_t PimBsrSm::clearRps(const IpGenPrefix& zone, const IpGenAddr& rp) {
  const DeferredDelete::Hold hold(deferred());
  std::vector<IpGenPrefix> zones;
  for (const auto& entry : bsrStatus_->crpStatus()) {
    if (zone.isNone() || entry.first == zone) zones.push_back(entry.first);
  }
  std::size_t cleared = 0;
  for (const IpGenPrefix& each : zones) {
    const auto machine = candidateSm(each);
    const bool elected = machine && machine->state() == BsrCandidateState::eBsr;
    cleared += elected ? machine->withdrawRps(rp) : forgetRps(each, rp);
  }
  return cleared;
}

std::size_t PimBsrSm::forgetRps(const IpGenPrefix& zone, const IpGenAddr& rp) {
  std::size_t forgotten = 0;
  for (const auto& set : services_->rpSets().ofZone(zone)) {
    std::vector<IpGenAddr> addresses;
    for (const auto& entry : set->rp()) {
      if (rp.isUnset() || entry.first == rp) addresses.push_back(entry.first);
    }
    for (const IpGenAddr& address : addresses) set->rpDel(address);
    forgotten += addresses.size();
  }
  return forgotten;
}

std::size_t PimBsrSm::clearBsr(const IpGenPrefix& zone) {
  std::size_t cleared = 0;
  const auto clear = [&](const IpGenPrefix& of, ZoneSm& machine) {
    if (!zone.isNone() && of != zone) return;
    machine.endWait();
    ++cleared;
  };
  for (const auto& [of, machine] : nonCandidateSm_) {
    if (machine->state() == BsrNonCandidateState::acceptPreferred) clear(of, *machine);
  }
  for (const auto& [of, machine] : candidateSm_) {
    // Who waits to be elected goes on waiting.
    if (machine->state() != BsrCandidateState::pBsr) clear(of, *machine);
  }
  return cleared;
}

}  // namespace Routing::Pim::Bsr
