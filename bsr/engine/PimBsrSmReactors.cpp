#include "bsr/engine/PimBsrSmReactors.h"

#include <utility>
#include <vector>

#include "bsr/engine/BsrCandidateSm.h"
#include "bsr/engine/BsrNonCandidateSm.h"
#include "bsr/engine/RpCandidateSm.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

// --- PIM interfaces ---------------------------------------------------------------------------

void PimBsrSm::handlePimIntf(const IntfId& intf) {
  BSR_TRACE(sm, 9, " ( ", intf, " )");
  if (const auto& status = pimStatus_->pimIntf(intf)) {
    auto& reactor = pimIntf_[intf];
    if (!reactor) reactor = std::make_unique<PimIntfReactor>(*this, status);
  } else {
    pimIntf_.erase(intf);
  }
}

bool PimBsrSm::wasDr(const IntfId& intf) const {
  const auto it = pimIntf_.find(intf);
  return it != pimIntf_.end() && it->second->wasDr();
}

PimBsrSm::PimIntfReactor::PimIntfReactor(PimBsrSm& engine, std::shared_ptr<const PimInterface> intf)
    : engine_(engine), intf_(std::move(intf)) {
  drReactor_ = intf_->isDrReactor([this] { handleDrChange(); });
  helloReactor_ = intf_->triggeredHelloSentReactor([this] { handleTriggeredHelloSent(); });
}

void PimBsrSm::PimIntfReactor::handleDrChange() {
  BSR_TRACE(sm, 9, "");
  if (!engine_.initialized_ || intf_->isDr()) return;
  BSR_TRACE(sm, 8, "We are no longer DR on interface ", intf_->intfId());
  wasDr_ = true;
}

void PimBsrSm::PimIntfReactor::handleTriggeredHelloSent() {
  BSR_TRACE(sm, 9, "");
  if (!engine_.initialized_) return;
  if (intf_->isDr() || wasDr_) {
    BSR_TRACE(sm, 8, "Send No Forward BSM since ", wasDr_ ? "we were DR " : "",
              intf_->isDr() ? "we are DR " : "", " on interface ", intf_->intfId());
    doSendNoFwdBsm();
  }
  wasDr_ = false;
}

void PimBsrSm::PimIntfReactor::doSendNoFwdBsm() {
  BSR_TRACE(sm, 9, "");
  const auto followers = engine_.nonCandidateSm_;
  const auto candidates = engine_.candidateSm_;
  for (const auto& [zone, machine] : followers) sendLastBsm(*machine);
  for (const auto& [zone, machine] : candidates) sendLastBsm(*machine);
}

template <class Machine>
void PimBsrSm::PimIntfReactor::sendLastBsm(const Machine& machine) {
  // Sending may come back and replace it.
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  if (const auto bsm = machine.lastBsm()) {
    engine_.doSendTriggeredBsm(machine.zone(), false, intf_->intfId(), bsm);
  } else {
    BSR_TRACE(sm, 8, "No last BSM available to send triggered BSM");
  }
}

// --- elected BSRs -----------------------------------------------------------------------------

void PimBsrSm::handleBsr(const IpGenPrefix& zone) {
  BSR_TRACE(sm, 9, " ( ", zone, " )");
  if (!initialized_) return;
  if (const auto& bsr = bsrStatus_->bootstrapRouter(zone)) {
    auto& reactor = bsr_[zone];
    if (!reactor) reactor = std::make_unique<BsrReactor>(*this, bsr);
  } else {
    bsr_.erase(zone);
  }
}

namespace {

bool holdsRp(const RpCandidateStatus& rpSets) {
  for (const auto& [prefix, rpSet] : rpSets.crpSet()) {
    if (!rpSet->rp().empty()) return true;
  }
  return false;
}

}  // namespace

PimBsrSm::BsrReactor::BsrReactor(PimBsrSm& engine, std::shared_ptr<const ElectedBsrStatus> bsr)
    : engine_(engine), bsr_(std::move(bsr)) {
  hashMaskLenReactor_ = bsr_->hashMaskLenReactor([this] { handleHashMaskLen(); });
}

void PimBsrSm::BsrReactor::handleHashMaskLen() {
  BSR_TRACE(sm, 9, "");
  if (!engine_.initialized_ || bsr_->hashMaskLen() == hashMaskLenUnknown) return;
  const IpGenPrefix& zone = bsr_->zone();
  const auto& candidate = engine_.bsrStatus_->cbsr(zone);
  if (!candidate) {
    BSR_TRACE(sm, 4, "No local CBSR configured for zone ", zone, ". Nothing to do");
    return;
  }
  if (!candidate->elected()) {
    BSR_TRACE(sm, 4, "Local CBSR configured for zone ", zone, " is not elected BSR. Nothing to do");
    return;
  }
  const auto zoneStatus = engine_.bsrStatus_->crpStatus(zone);
  const auto rpSets = zoneStatus ? zoneStatus->status() : nullptr;
  if (!rpSets || !holdsRp(*rpSets)) {
    BSR_TRACE(sm, 4, "No CRP have been populated for zone ", zone);
    return;
  }
  const RpHashMaskLen hashMaskLen(bsr_->hashMaskLen());
  for (const auto& [prefix, rpSet] : rpSets->crpSet()) {
    for (const auto& [address, rp] : rpSet->rp()) {
      rp->hashMaskLenIs(hashMaskLen);
      BSR_TRACE(sm, 8, "Setting hash mask Len to ", hashMaskLen, " for RP ", address,
                " in rp candidate set for zone ", zone);
    }
  }
}

// --- candidate RPs ----------------------------------------------------------------------------

void PimBsrSm::handleRpCandidate() {
  BSR_TRACE(sm, 9, "");
  if (!initialized_) return;
  for (const auto& [address, crp] : bsrStatus_->crp()) handleCrp(address);
}

void PimBsrSm::handleCrp(const IpGenAddr& address) {
  BSR_TRACE(sm, 9, " ( ", address, " )");
  if (!initialized_) return;
  const auto it = crp_.find(address);
  if (const auto& crp = bsrStatus_->crp(address)) {
    if (it == crp_.end()) crp_.emplace(address, std::make_unique<CrpReactor>(*this, crp));
  } else if (it != crp_.end()) {
    const std::unique_ptr<CrpReactor> reactor = std::move(it->second);
    crp_.erase(it);
    reactor->handleDel();
  }
}

PimBsrSm::CrpReactor::CrpReactor(PimBsrSm& engine, std::shared_ptr<RpCandidate> crp)
    : engine_(engine), crp_(std::move(crp)) {
  optionsReactor_ = crp_->prefixOptionsReactor(
      [this](const IpGenPrefix& prefix) { handlePrefixOptions(prefix); });
  for (const auto& [prefix, option] : crp_->prefixOptions()) handlePrefixOptions(prefix);
}

void PimBsrSm::CrpReactor::handlePrefixOptions(const IpGenPrefix& prefix) {
  BSR_TRACE(sm, 9, " ( ", prefix, " )");
  if (const auto& entry = crp_->prefixOptions(prefix)) {
    Option& option = options_[prefix];
    option.reactor = entry->priorityReactor(
        [this, prefix, entry = entry.get()] { handlePriority(prefix, entry->priority()); });
    handlePriority(prefix, entry->priority());
  } else if (options_.contains(prefix)) {
    handlePriority(prefix, RpPriority(rpPriorityUnknown));
    options_.erase(prefix);
  }
}

// The new advertiser serves the prefix before the old one lets go of it, so that the BSR never has
// reason to drop the RP.
void PimBsrSm::CrpReactor::handlePriority(const IpGenPrefix& prefix, RpPriority priority) {
  BSR_TRACE(sm, 9, " ( ", prefix, ", ", priority, " )");
  const RpPriority old = std::exchange(options_[prefix].priority, priority);
  if (old == priority) return;
  const bool served = priority.value() != rpPriorityUnknown;
  if (served) advertise(prefix, priority);
  if (old.value() != rpPriorityUnknown) retire(prefix, old, served);
}

void PimBsrSm::CrpReactor::advertise(const IpGenPrefix& prefix, RpPriority priority) {
  const CrpOptions options(crp_->address(), priority);
  auto& machine = engine_.rpCandidateSm_[options];
  if (machine) {
    machine->prefixIs(prefix);
    return;
  }
  machine = std::make_shared<RpCandidateSm>(options, engine_.bsrStatus_, engine_.crpMsgStatus_,
                                            engine_.bsrTrie_, engine_.timerWheel_);
  BSR_TRACE(sm, 4, "Created RpcandidateSm with options ", options);
}

void PimBsrSm::CrpReactor::retire(const IpGenPrefix& prefix, RpPriority priority, bool served) {
  const auto it = engine_.rpCandidateSm_.find({crp_->address(), priority});
  if (it == engine_.rpCandidateSm_.end()) return;
  const std::shared_ptr<RpCandidateSm> machine = it->second;
  if (!served) machine->doWithdrawPrefix(prefix);
  machine->doUpdateCrpAdvSetPrefix(prefix);
  if (!priorityInUse(priority)) machineDel(priority);
}

bool PimBsrSm::CrpReactor::priorityInUse(RpPriority priority) const {
  for (const auto& [prefix, option] : options_) {
    if (option.priority == priority) return true;
  }
  return false;
}

void PimBsrSm::CrpReactor::machineDel(RpPriority priority) {
  if (engine_.rpCandidateSm_.erase({crp_->address(), priority}) == 0) return;
  BSR_TRACE(sm, 4, "Deleted CRP SM ", crp_->address(), " with priority ", priority);
}

void PimBsrSm::CrpReactor::handleDel() {
  BSR_TRACE(sm, 9, "");
  std::vector<std::shared_ptr<RpCandidateSm>> machines;
  for (const auto& [options, machine] : engine_.rpCandidateSm_) {
    if (options.rpAddress() == crp_->address()) machines.push_back(machine);
  }
  for (const auto& machine : machines) {
    machine->doSendCrpAdv(true);
    machineDel(machine->crpOptions().priority());
  }
}

}  // namespace Routing::Pim::Bsr
