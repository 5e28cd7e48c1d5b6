#include "bsr/engine/Advertisers.h"

#include <utility>
#include <vector>

#include "bsr/engine/RpCandidateSm.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

/// One candidate RP of this router: keeps an advertiser for each priority among its prefixes.
class Advertisers::Candidate {
 public:
  Candidate(Advertisers& advertisers, std::shared_ptr<RpCandidate> crp)
      : advertisers_(advertisers), crp_(std::move(crp)) {}
  Candidate(const Candidate&) = delete;
  Candidate& operator=(const Candidate&) = delete;

  const std::shared_ptr<RpCandidate>& crp() const { return crp_; }
  void start();
  void retire();
  /// The candidate is gone: its advertisers send a withdrawal and end.
  void handleDel();

 private:
  struct Option {
    RpPriority priority;  // as last seen; 256 while the prefix is not advertised
    Subscription reactor;
  };

  void handlePrefixOptions(const IpGenPrefix& prefix);
  void handlePriority(const IpGenPrefix& prefix, RpPriority priority);
  void release(const IpGenPrefix& prefix, RpPriority priority, bool served);
  bool priorityInUse(RpPriority priority) const;
  DeferredDelete& deferred() const { return advertisers_.services_.deferred(); }
  const VrfName& vrfName() const { return advertisers_.vrfName(); }

  Advertisers& advertisers_;
  const std::shared_ptr<RpCandidate> crp_;
  std::map<IpGenPrefix, Option> options_;
  Subscription optionsReactor_;
};

void Advertisers::Candidate::start() {
  optionsReactor_ = crp_->prefixOptionsReactor(
      deferred().held([this](const IpGenPrefix& prefix) { handlePrefixOptions(prefix); }));
  for (const auto& [prefix, option] : crp_->prefixOptions()) handlePrefixOptions(prefix);
}

void Advertisers::Candidate::retire() {
  optionsReactor_.reset();
  options_.clear();
}

void Advertisers::Candidate::handlePrefixOptions(const IpGenPrefix& prefix) {
  BSR_TRACE(sm, 9, " ( ", prefix, " )");
  if (const auto& entry = crp_->prefixOptions(prefix)) {
    options_[prefix].reactor = entry->priorityReactor(deferred().held(
        [this, prefix, entry = entry.get()] { handlePriority(prefix, entry->priority()); }));
    handlePriority(prefix, entry->priority());
  } else if (options_.contains(prefix)) {
    handlePriority(prefix, RpPriority(rpPriorityUnknown));
    options_.erase(prefix);
  }
}

// The new advertiser serves the prefix before the old one lets go of it, so that the BSR never has
// reason to drop the RP.
void Advertisers::Candidate::handlePriority(const IpGenPrefix& prefix, RpPriority priority) {
  BSR_TRACE(sm, 9, " ( ", prefix, ", ", priority, " )");
  const RpPriority old = std::exchange(options_[prefix].priority, priority);
  if (old == priority) return;
  const bool served = priority.value() != rpPriorityUnknown;
  if (served) advertisers_.advertise({crp_->address(), priority}, prefix);
  if (old.value() != rpPriorityUnknown) release(prefix, old, served);
}

void Advertisers::Candidate::release(const IpGenPrefix& prefix, RpPriority priority, bool served) {
  const CrpOptions options(crp_->address(), priority);
  const auto it = advertisers_.rpCandidateSm_.find(options);
  if (it == advertisers_.rpCandidateSm_.end()) return;
  const std::shared_ptr<RpCandidateSm> machine = it->second;
  if (!served) machine->doWithdrawPrefix(prefix);
  machine->doUpdateCrpAdvSetPrefix(prefix);
  if (!priorityInUse(priority)) advertisers_.machineDel(options);
}

bool Advertisers::Candidate::priorityInUse(RpPriority priority) const {
  for (const auto& [prefix, option] : options_) {
    if (option.priority == priority) return true;
  }
  return false;
}

void Advertisers::Candidate::handleDel() {
  BSR_TRACE(sm, 9, "");
  std::vector<std::shared_ptr<RpCandidateSm>> machines;
  for (const auto& [options, machine] : advertisers_.rpCandidateSm_) {
    if (options.rpAddress() == crp_->address()) machines.push_back(machine);
  }
  for (const auto& machine : machines) {
    machine->doSendCrpAdv(true);
    advertisers_.machineDel(machine->crpOptions());
  }
}

Advertisers::Advertisers(std::shared_ptr<Status> bsrStatus,
                         std::shared_ptr<PimCrpMsgStatus> crpMsgStatus,
                         std::shared_ptr<TrieGen> bsrTrie, TimerWheel& timerWheel,
                         ZoneServices& services)
    : bsrStatus_(std::move(bsrStatus)),
      crpMsgStatus_(std::move(crpMsgStatus)),
      bsrTrie_(std::move(bsrTrie)),
      timerWheel_(timerWheel),
      services_(services) {}

Advertisers::~Advertisers() = default;

void Advertisers::handleCrp(const IpGenAddr& address) {
  const auto crp = bsrStatus_->crp(address);
  const auto it = candidates_.find(address);
  if (it != candidates_.end()) {
    const auto gone = it->second;
    if (gone->crp() == crp) return;
    candidates_.erase(it);
    gone->handleDel();
    gone->retire();
    services_.deferred().take(gone);
  }
  if (!crp || candidates_.contains(address) || bsrStatus_->crp(address) != crp) return;
  const auto candidate = std::make_shared<Candidate>(*this, crp);
  candidates_.emplace(address, candidate);
  candidate->start();
}

void Advertisers::retire() {
  for (const auto& [address, candidate] : candidates_) candidate->retire();
  for (const auto& [options, machine] : rpCandidateSm_) {
    machine->retire();
    services_.deferred().take(machine);
  }
  rpCandidateSm_.clear();
}

void Advertisers::advertise(const CrpOptions& options, const IpGenPrefix& prefix) {
  auto& machine = rpCandidateSm_[options];
  if (machine) {
    machine->prefixIs(prefix);
    return;
  }
  machine = std::make_shared<RpCandidateSm>(options, bsrStatus_, crpMsgStatus_, bsrTrie_,
                                            timerWheel_, services_);
  BSR_TRACE(sm, 4, "Created RpcandidateSm with options ", options);
}

void Advertisers::machineDel(const CrpOptions& options) {
  const auto it = rpCandidateSm_.find(options);
  if (it == rpCandidateSm_.end()) return;
  it->second->retire();
  services_.deferred().take(std::move(it->second));
  rpCandidateSm_.erase(it);
  BSR_TRACE(sm, 4, "Deleted CRP SM ", options.rpAddress(), " with priority ", options.priority());
}

}  // namespace Routing::Pim::Bsr
