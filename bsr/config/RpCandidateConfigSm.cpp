#include "bsr/config/RpCandidateConfigSm.h"

#include <algorithm>

#include "bsr/config/BsrConfigAcls.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {
namespace {

/// The priority that options give, if they give one.
template <class Options>
std::optional<RpPriority> given(const std::shared_ptr<Options>& options) {
  if (!options || options->priority().value() == rpPriorityUnknown) return std::nullopt;
  return options->priority();
}

}  // namespace

// --- configuration that comes and goes --------------------------------------------------------

void RpCandidateConfigSm::configIs(const std::shared_ptr<const RpCandidateConfig>& config) {
  const bool isNew = config_ == nullptr;
  config_ = config;
  watch();
  if (isNew) return handleInitialized();
  if (!initialized_) return;
  entries_.hold();
  if (!address_.isUnset()) entries_.attach(address_, intf_, *this);
  applyAll();
  entries_.release();
}

void RpCandidateConfigSm::watch() {
  reactors_.clear();
  rangeOptions_.clear();
  aclOptions_.clear();
  reactors_.push_back(
      config_->groupRangeReactor([this](const IpGenPrefix& range) { handleGroupRange(range); }));
  reactors_.push_back(config_->aclReactor([this](const std::string& acl) { handleAcl(acl); }));
  reactors_.push_back(config_->groupRangeOptionsReactor(
      [this](const IpGenPrefix& range) { handleGroupRangeOptions(range); }));
  reactors_.push_back(
      config_->aclOptionsReactor([this](const std::string& acl) { handleAclOptions(acl); }));
  reactors_.push_back(config_->advIntervalReactor([this] { handleAdvInterval(); }));
  reactors_.push_back(config_->modeReactor([this] { handleMode(); }));
  for (const auto& [range, options] : config_->groupRangeOptions()) {
    rangeOptions_[range] = options->priorityReactor([this, r = range] { handlePriority(r); });
  }
  for (const auto& [acl, options] : config_->aclOptions()) {
    aclOptions_[acl] = options->priorityReactor([this, a = acl] { handlePriority(a); });
  }
}

void RpCandidateConfigSm::handleInitialized() {
  BSR_TRACE(sm, 9, "");
  BSR_TRACE(sm, 4, "New RP candidate configured for interface ", intf_);
  address_ = context_.addressOf(intf_);
  if (address_.isUnset()) {
    BSR_TRACE(sm, 8,
              "Deferred C-RP initialization since IP address "
              "for interface ",
              intf_, " is not set");
    return;
  }
  start();
}

void RpCandidateConfigSm::start() {
  initialized_ = true;
  entries_.hold();
  entries_.attach(address_, intf_, *this);
  applyAll();
  entries_.release();
}

void RpCandidateConfigSm::applyAll() {
  const auto rangesBefore = ranges_;
  const auto aclsBefore = acls_;
  for (const IpGenPrefix& range : config_->groupRange()) doGroupAdd(range);
  for (const std::string& acl : config_->acl()) doAclAdd(acl);
  for (const IpGenPrefix& range : rangesBefore) {
    if (!config_->groupRange(range)) doGroupRemove(range);
  }
  for (const auto& [acl, counted] : aclsBefore) {
    if (!config_->acl(acl)) doAclRemove(acl);
  }
}

void RpCandidateConfigSm::handleDel() {
  BSR_TRACE(sm, 9, "");
  reactors_.clear();
  rangeOptions_.clear();
  aclOptions_.clear();
  const auto acls = acls_;
  ranges_.clear();
  acls_.clear();
  for (const auto& [acl, counted] : acls) {
    context_.state->bsrConfigAcl(acl)->crpIntfDel(intf_);
    context_.acls->releaseUnused(acl);
  }
  context_.state->crpPfxRefCountDel(intf_);
  if (entries_.detach(address_, intf_)) {
    BSR_TRACE(sm, 4, "Deleted candidate RP ", address_);
  }
  entries_.deleteStrays(&intf_);
}

void RpCandidateConfigSm::handleIpAddress() {
  BSR_TRACE(sm, 9, "");
  const IpGenAddr before = address_;
  const IpGenAddr now = context_.addressOf(intf_);
  if (now == before) return;
  address_ = now;
  if (!initialized_) {
    BSR_TRACE(sm, 8, "Interface ", intf_, " assigned IP ", now, " for the first time.");
    return start();
  }
  if (now.isUnset()) {
    BSR_TRACE(sm, 8, "C-RP Interface ", intf_, " IP unset");
  } else {
    BSR_TRACE(sm, 8, "C-RP Interface ", intf_, " assigned IP ", now);
  }
  if (entries_.detach(before, intf_)) BSR_TRACE(sm, 4, "Deleted candidate RP ", before);
  if (!now.isUnset()) entries_.attach(now, intf_, *this);
}

// --- ranges and access lists ------------------------------------------------------------------

void RpCandidateConfigSm::handleGroupRange(const IpGenPrefix& range) {
  BSR_TRACE(sm, 9, "");
  if (!initialized_) return;
  config_->groupRange(range) ? doGroupAdd(range) : doGroupRemove(range);
}

void RpCandidateConfigSm::handleAcl(const std::string& acl) {
  BSR_TRACE(sm, 9, "");
  if (!initialized_) return;
  config_->acl(acl) ? doAclAdd(acl) : doAclRemove(acl);
}

void RpCandidateConfigSm::doGroupAdd(const IpGenPrefix& range) {
  if (!ranges_.insert(range).second) return;
  countIs(range);
  traceAdded(range, write(range));
  if (const auto priority = given(config_->groupRangeOptions(range))) {
    doGroupOptionsAdd(range, *priority);
  }
}

void RpCandidateConfigSm::doGroupRemove(const IpGenPrefix& range) {
  if (ranges_.erase(range) == 0) return;
  const bool last = countDel(range);
  const auto change = write(range);
  if (last && change.removed) BSR_TRACE(sm, 8, "Deleted prefix ", range, " from prefixSet");
  traceDeleted(change);
}

void RpCandidateConfigSm::doAclAdd(const std::string& name) {
  if (acls_.contains(name)) return;
  const auto acl = context_.acls->expanded(name);
  acl->crpIntfIs(intf_, true);
  BSR_TRACE(sm, 8, "Added interface ", intf_, " to BsrConfigAcl's C-RP object for acl ", name);
  acls_[name];
  const auto prefixes = acl->grpPrefix();
  for (const IpGenPrefix& prefix : prefixes) doAclPrefixActivate(name, prefix);
  if (const auto priority = given(config_->aclOptions(name))) doAclOptionsAdd(name, *priority);
}

void RpCandidateConfigSm::doAclRemove(const std::string& name) {
  const auto it = acls_.find(name);
  if (it == acls_.end()) return;
  const auto prefixes = it->second;
  for (const IpGenPrefix& prefix : prefixes) doAclPrefixDeactivate(name, prefix);
  acls_.erase(name);
  context_.state->bsrConfigAcl(name)->crpIntfDel(intf_);
  BSR_TRACE(sm, 8, "Deleted interface ", intf_, "from BsrConfigAcl object for acl ", name);
  context_.acls->releaseUnused(name);
}

void RpCandidateConfigSm::doAclPrefixActivate(const std::string& acl, const IpGenPrefix& prefix) {
  const auto it = acls_.find(acl);
  if (it == acls_.end() || !it->second.insert(prefix).second) return;
  countIs(prefix);
  traceAdded(acl, prefix, write(prefix));
}

void RpCandidateConfigSm::doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& prefix) {
  const auto it = acls_.find(acl);
  if (it == acls_.end() || it->second.erase(prefix) == 0) return;
  BSR_TRACE(sm, 8, "Removing prefix ", prefix, " from C-RP ", address_);
  const bool last = countDel(prefix);
  const auto change = write(prefix);
  if (last && change.removed) {
    BSR_TRACE(sm, 8, "Deleted prefix ", prefix, " from C-RP ", address_);
  }
  traceDeleted(change);
}

void RpCandidateConfigSm::countIs(const IpGenPrefix& prefix) {
  ConfigState& state = *context_.state;
  if (!state.crpPfxRefCount(intf_)) {
    state.newCrpPfxRefCount(intf_);
    BSR_TRACE(sm, 8, "Created C-RP refcount object for interface ", intf_);
  }
  const std::uint32_t count = counterInc(*state.crpPfxRefCount(intf_), prefix);
  BSR_TRACE(sm, 8, "C-RP PrefixCounter for prefix ", prefix, " is ", count);
}

/// True if that was the last.
bool RpCandidateConfigSm::countDel(const IpGenPrefix& prefix) {
  const auto counts = context_.state->crpPfxRefCount(intf_);
  const std::uint32_t left = counterDec(*counts, prefix);
  BSR_TRACE(sm, 8, "C-RP PrefixCounter for prefix ", prefix, " is ", left);
  if (counts->counter().empty()) {
    context_.state->crpPfxRefCountDel(intf_);
    BSR_TRACE(sm, 8, "Deleted C-RP refcount object for interface ", intf_);
  }
  return left == 0;
}

// --- settings and priorities ------------------------------------------------------------------

void RpCandidateConfigSm::handleAdvInterval() {
  BSR_TRACE(sm, 9, "");
  if (!entry() || entry()->intfId() != intf_) return;
  entries_.intervalIs(address_);
  BSR_TRACE(sm, 4, "Advertisement interface for Candidate C-RP ", address_, " changed to ",
            interval());
}

void RpCandidateConfigSm::handleMode() {
  BSR_TRACE(sm, 9, "");
  if (!entry() || entry()->intfId() != intf_) return;
  entries_.modeIs(address_);
  BSR_TRACE(sm, 4, "Pim mode for Candidate C-RP ", address_, " changed to ", enumName(mode()));
}

void RpCandidateConfigSm::handleGroupRangeOptions(const IpGenPrefix& range) {
  BSR_TRACE(sm, 9, "");
  const auto options = config_->groupRangeOptions(range);
  if (!options) {
    rangeOptions_.erase(range);
    return doGroupOptionsRemove(range);
  }
  rangeOptions_[range] = options->priorityReactor([this, range] { handlePriority(range); });
  if (const auto priority = given(options)) doGroupOptionsAdd(range, *priority);
}

void RpCandidateConfigSm::handleAclOptions(const std::string& acl) {
  BSR_TRACE(sm, 9, "");
  const auto options = config_->aclOptions(acl);
  if (!options) {
    aclOptions_.erase(acl);
    return doAclOptionsRemove(acl);
  }
  aclOptions_[acl] = options->priorityReactor([this, acl] { handlePriority(acl); });
  if (const auto priority = given(options)) doAclOptionsAdd(acl, *priority);
}

void RpCandidateConfigSm::handlePriority(const IpGenPrefix& range) {
  BSR_TRACE(sm, 9, "");
  const auto priority = given(config_->groupRangeOptions(range));
  if (!priority) return doGroupOptionsRemove(range);
  doGroupOptionsAdd(range, *priority);
  BSR_TRACE(sm, 4, "Priority of ", range, " changed to ", *priority);
}

void RpCandidateConfigSm::handlePriority(const std::string& acl) {
  BSR_TRACE(sm, 9, "");
  const auto priority = given(config_->aclOptions(acl));
  if (!priority) return doAclOptionsRemove(acl);
  doAclOptionsAdd(acl, *priority);
  BSR_TRACE(sm, 4, "Priority for Candidate RP in ACL ", acl, " with intf ip ", address_,
            " changed to ", *priority);
}

void RpCandidateConfigSm::doGroupOptionsAdd(const IpGenPrefix& range, RpPriority priority) {
  if (!ranges_.contains(range)) return;  // waits for its range
  write(range);
  if (entry()) {
    BSR_TRACE(sm, 8, "Created priority ", priority, " to prefix ", range, " to C-RP ", address_);
  }
}

void RpCandidateConfigSm::doAclOptionsAdd(const std::string& acl, RpPriority priority) {
  const auto it = acls_.find(acl);
  if (it == acls_.end()) return;
  const auto prefixes = it->second;
  for (const IpGenPrefix& prefix : prefixes) {
    write(prefix);
    if (entry()) {
      BSR_TRACE(sm, 8, "Created priority ", priority, " to prefix ", prefix, " to C-RP ", address_);
    }
  }
}

void RpCandidateConfigSm::doGroupOptionsRemove(const IpGenPrefix& range) {
  if (!ranges_.contains(range)) return;
  write(range);
  tracePriorityAfter(range,
                     " because this prefix "
                     "appears in ACL rules.");
}

void RpCandidateConfigSm::doAclOptionsRemove(const std::string& acl) {
  const auto it = acls_.find(acl);
  if (it == acls_.end()) return;
  const auto prefixes = it->second;
  for (const IpGenPrefix& prefix : prefixes) {
    write(prefix);
    tracePriorityAfter(prefix,
                       " because this prefix appears in other ACL "
                       "rules or in group range.");
  }
}

void RpCandidateConfigSm::tracePriorityAfter(const IpGenPrefix& prefix, const char* because) {
  if (!entry()) return;
  if (const auto left = priorityOf(prefix)) {
    BSR_TRACE(sm, 8, "Created prefix ", prefix, " with priority ", *left, " to C-RP ", address_,
              because);
  } else {
    BSR_TRACE(sm, 8, "Deleted priority of prefix ", prefix, " from prefixOptions");
  }
}

void RpCandidateConfigSm::traceWritten(const IpGenPrefix& prefix,
                                       const RpCandidateChange& change) const {
  if (!change.added) return;
  const auto list = std::find_if(acls_.begin(), acls_.end(),
                                 [&](const auto& acl) { return acl.second.contains(prefix); });
  if (ranges_.contains(prefix) || list == acls_.end()) {
    traceAdded(prefix, change);
  } else {
    traceAdded(list->first, prefix, change);
  }
  if (const auto priority = priorityOf(prefix)) {
    BSR_TRACE(sm, 8, "Created priority ", *priority, " to prefix ", prefix, " to C-RP ", address_);
  }
}

void RpCandidateConfigSm::traceAdded(const IpGenPrefix& range,
                                     const RpCandidateChange& change) const {
  if (change.created) BSR_TRACE(sm, 4, "Created C-RP ", address_);
  if (change.added) BSR_TRACE(sm, 8, "Added Prefix ", range, " to C-RP ", address_);
}

void RpCandidateConfigSm::traceAdded(const std::string& acl, const IpGenPrefix& prefix,
                                     const RpCandidateChange& change) const {
  if (change.created) {
    BSR_TRACE(sm, 4, "Created C-RP with IP ", address_, " advInterval=", interval());
  }
  if (change.added) {
    BSR_TRACE(sm, 8, "Address prefix ", prefix, " as part of Acl", acl, " to C-RP ", address_);
  }
}

void RpCandidateConfigSm::traceDeleted(const RpCandidateChange& change) const {
  if (!change.deleted) return;
  BSR_TRACE(sm, 4, "Deleted candidate RP ", address_, " since it doest serve any group");
}

// --- what the entry of the address is made of -------------------------------------------------

RpCandidateChange RpCandidateConfigSm::write(const IpGenPrefix& prefix) {
  return address_.isUnset() ? RpCandidateChange{} : entries_.prefixIs(address_, prefix);
}

std::shared_ptr<RpCandidate> RpCandidateConfigSm::entry() const {
  return address_.isUnset() || !initialized_ ? nullptr : context_.status->crp(address_);
}

bool RpCandidateConfigSm::serves(const IpGenPrefix& prefix) const {
  const auto& counts = context_.state->crpPfxRefCount(intf_);
  return counts && counts->counter(prefix) != nullptr;
}

std::set<IpGenPrefix> RpCandidateConfigSm::prefixes() const {
  std::set<IpGenPrefix> prefixes;
  const auto& counts = context_.state->crpPfxRefCount(intf_);
  if (!counts) return prefixes;
  for (const auto& entry : counts->counter()) prefixes.insert(entry.first);
  return prefixes;
}

std::optional<RpPriority> RpCandidateConfigSm::priorityOf(const IpGenPrefix& prefix) const {
  for (auto it = acls_.rbegin(); it != acls_.rend(); ++it) {
    if (!it->second.contains(prefix)) continue;
    if (const auto priority = given(config_->aclOptions(it->first))) return priority;
  }
  return ranges_.contains(prefix) ? given(config_->groupRangeOptions(prefix)) : std::nullopt;
}

}  // namespace Routing::Pim::Bsr
