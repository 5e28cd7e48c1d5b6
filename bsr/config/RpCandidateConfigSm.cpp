#include "bsr/config/RpCandidateConfigSm.h"

#include "bsr/config/BsrConfigAcls.h"
#include "bsr/config/Explained.h"
#include "bsr/config/Keys.h"
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

// --- settings that come and go ----------------------------------------------------------------

void RpCandidateConfigSm::configIs(const std::shared_ptr<const RpCandidateConfig>& config) {
  const bool isNew = config_ == nullptr;
  config_ = config;
  watch();
  if (isNew) handleInitialized();
  if (initialized_) claimAll();
}

void RpCandidateConfigSm::watch() {
  Explained& explained = *context_.explained;
  reactors_.clear();
  rangeOptions_.clear();
  aclOptions_.clear();
  reactors_.push_back(config_->groupRangeReactor(
      explained.settling([this](const IpGenPrefix& range) { handleGroupRange(range); })));
  reactors_.push_back(
      config_->aclReactor(explained.settling([this](const std::string& acl) { handleAcl(acl); })));
  reactors_.push_back(config_->groupRangeOptionsReactor(
      explained.settling([this](const IpGenPrefix& range) { handleGroupRangeOptions(range); })));
  reactors_.push_back(config_->aclOptionsReactor(
      explained.settling([this](const std::string& acl) { handleAclOptions(acl); })));
  reactors_.push_back(
      config_->advIntervalReactor(explained.settling([this] { handleAdvInterval(); })));
  reactors_.push_back(config_->modeReactor(explained.settling([this] { handleMode(); })));
  for (const auto& [range, options] : config_->groupRangeOptions()) watchOptions(range);
  for (const auto& [acl, options] : config_->aclOptions()) watchOptions(acl);
}

void RpCandidateConfigSm::watchOptions(const IpGenPrefix& range) {
  rangeOptions_[range] = config_->groupRangeOptions(range)->priorityReactor(
      context_.explained->settling([this, range] { handlePriority(range); }));
}

void RpCandidateConfigSm::watchOptions(const std::string& acl) {
  aclOptions_[acl] = config_->aclOptions(acl)->priorityReactor(
      context_.explained->settling([this, acl] { handlePriority(acl); }));
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
  }
  awaited_ = known_ && address_.isUnset() && !context_.sourceIntfSm->initialDumpDone();
  initialized_ = awaited_ || !address_.isUnset();
}

void RpCandidateConfigSm::handleDel() {
  BSR_TRACE(sm, 9, "");
  reactors_.clear();
  rangeOptions_.clear();
  aclOptions_.clear();
  ranges_.clear();
  for (const std::string& acl : std::exchange(acls_, {})) {
    context_.state->bsrConfigAcl(acl)->crpIntfDel(intf_);
    context_.acls->releaseUnused(acl);
  }
  context_.explained->rps.interfaceDel(intf_);
}

void RpCandidateConfigSm::handleIpAddress() {
  BSR_TRACE(sm, 9, "");
  const IpGenAddr now = context_.addressOf(intf_);
  if (now == address_) return;
  address_ = now;
  if (!initialized_ || awaited_) {
    BSR_TRACE(sm, 8, "Interface ", intf_, " assigned IP ", now, " for the first time.");
  } else if (now.isUnset()) {
    BSR_TRACE(sm, 8, "C-RP Interface ", intf_, " IP unset");
  } else {
    BSR_TRACE(sm, 8, "C-RP Interface ", intf_, " assigned IP ", now);
  }
  awaited_ = false;
  if (std::exchange(initialized_, true)) {
    termsAre();
  } else {
    claimAll();
  }
}

void RpCandidateConfigSm::handleInitialDumpDone() {
  BSR_TRACE(sm, 9, "");
  awaited_ = false;
  if (initialized_) termsAre();
}

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

void RpCandidateConfigSm::handleAdvInterval() {
  BSR_TRACE(sm, 9, "");
  if (initialized_) termsAre();
}

void RpCandidateConfigSm::handleMode() {
  BSR_TRACE(sm, 9, "");
  if (initialized_) termsAre();
}

// --- what they claim --------------------------------------------------------------------------

void RpCandidateConfigSm::termsAre() {
  context_.explained->rps.interfaceIs(intf_, address_,
                                      {awaited_, config_->advInterval(), config_->mode()});
}

void RpCandidateConfigSm::claimAll() {
  termsAre();
  for (const IpGenPrefix& range : unionOf(config_->groupRange(), ranges_)) handleGroupRange(range);
  for (const std::string& acl : unionOf(config_->acl(), acls_)) handleAcl(acl);
}

void RpCandidateConfigSm::doGroupAdd(const IpGenPrefix& range) {
  ranges_.insert(range);
  context_.explained->rps.claim(intf_, range, "", given(config_->groupRangeOptions(range)));
}

void RpCandidateConfigSm::doGroupRemove(const IpGenPrefix& range) {
  if (ranges_.erase(range) > 0) context_.explained->rps.withdraw(intf_, range, "");
}

void RpCandidateConfigSm::doAclAdd(const std::string& name) {
  const auto acl = context_.acls->expanded(name);
  if (acls_.insert(name).second) {
    acl->crpIntfIs(intf_, true);
    BSR_TRACE(sm, 8, "Added interface ", intf_, " to BsrConfigAcl's C-RP object for acl ", name);
  }
  for (const IpGenPrefix& prefix : acl->grpPrefix()) doAclPrefixActivate(name, prefix);
}

void RpCandidateConfigSm::doAclRemove(const std::string& name) {
  if (acls_.erase(name) == 0) return;
  const auto acl = context_.state->bsrConfigAcl(name);
  for (const IpGenPrefix& prefix : acl->grpPrefix()) doAclPrefixDeactivate(name, prefix);
  acl->crpIntfDel(intf_);
  BSR_TRACE(sm, 8, "Deleted interface ", intf_, "from BsrConfigAcl object for acl ", name);
  context_.acls->releaseUnused(name);
}

void RpCandidateConfigSm::doAclPrefixActivate(const std::string& acl, const IpGenPrefix& prefix) {
  context_.explained->rps.claim(intf_, prefix, acl, given(config_->aclOptions(acl)));
}

void RpCandidateConfigSm::doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& prefix) {
  BSR_TRACE(sm, 8, "Removing prefix ", prefix, " from C-RP ", address_);
  context_.explained->rps.withdraw(intf_, prefix, acl);
}

// --- priorities -------------------------------------------------------------------------------

void RpCandidateConfigSm::handleGroupRangeOptions(const IpGenPrefix& range) {
  BSR_TRACE(sm, 9, "");
  if (!config_->groupRangeOptions(range)) {
    rangeOptions_.erase(range);
    return doGroupOptionsRemove(range);
  }
  watchOptions(range);
  if (ranges_.contains(range)) doGroupAdd(range);
}

void RpCandidateConfigSm::handleAclOptions(const std::string& acl) {
  BSR_TRACE(sm, 9, "");
  if (!config_->aclOptions(acl)) {
    aclOptions_.erase(acl);
    return doAclOptionsRemove(acl);
  }
  watchOptions(acl);
  if (acls_.contains(acl)) doAclAdd(acl);
}

void RpCandidateConfigSm::handlePriority(const IpGenPrefix& range) {
  BSR_TRACE(sm, 9, "");
  const auto priority = given(config_->groupRangeOptions(range));
  if (!priority) return doGroupOptionsRemove(range);
  if (ranges_.contains(range)) doGroupAdd(range);
  BSR_TRACE(sm, 4, "Priority of ", range, " changed to ", *priority);
}

void RpCandidateConfigSm::handlePriority(const std::string& acl) {
  BSR_TRACE(sm, 9, "");
  const auto priority = given(config_->aclOptions(acl));
  if (!priority) return doAclOptionsRemove(acl);
  if (acls_.contains(acl)) doAclAdd(acl);
  BSR_TRACE(sm, 4, "Priority for Candidate RP in ACL ", acl, " with intf ip ", address_,
            " changed to ", *priority);
}

void RpCandidateConfigSm::doGroupOptionsRemove(const IpGenPrefix& range) {
  if (!ranges_.contains(range)) return;
  doGroupAdd(range);
  tracePriorityLeft(range,
                    " because this prefix "
                    "appears in ACL rules.");
}

void RpCandidateConfigSm::doAclOptionsRemove(const std::string& acl) {
  if (!acls_.contains(acl)) return;
  doAclAdd(acl);
  for (const IpGenPrefix& prefix : context_.state->bsrConfigAcl(acl)->grpPrefix()) {
    tracePriorityLeft(prefix,
                      " because this prefix appears in other ACL "
                      "rules or in group range.");
  }
}

void RpCandidateConfigSm::tracePriorityLeft(const IpGenPrefix& prefix, const char* because) const {
  const auto left = context_.explained->rps.priorityOf(intf_, prefix);
  if (!left || address_.isUnset()) return;
  BSR_TRACE(sm, 8, "Created prefix ", prefix, " with priority ", *left, " to C-RP ", address_,
            because);
}

}  // namespace Routing::Pim::Bsr
