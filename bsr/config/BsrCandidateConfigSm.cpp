#include "bsr/config/BsrCandidateConfigSm.h"

#include "bsr/config/BsrConfigAcls.h"
#include "bsr/config/Explained.h"
#include "bsr/config/Keys.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

// --- settings that come and go ----------------------------------------------------------------

void BsrCandidateConfigSm::configIs(const std::shared_ptr<const BsrCandidateConfig>& config) {
  const bool isNew = config_ == nullptr;
  config_ = config;
  Explained& explained = *context_.explained;
  groupReactor_ = config_->groupReactor(
      explained.settling([this](const IpGenPrefix& group) { handleGroup(group); }));
  aclReactor_ =
      config_->aclReactor(explained.settling([this](const std::string& acl) { handleAcl(acl); }));
  if (isNew) handleInitialized();
  for (const IpGenPrefix& group : unionOf(config_->group(), group_)) handleGroup(group);
  for (const std::string& acl : unionOf(config_->acl(), acl_)) handleAcl(acl);
}

void BsrCandidateConfigSm::handleInitialized() {
  BSR_TRACE(sm, 9, "");
  BSR_TRACE(sm, 4, "New BSR candidate configured for interface ", intf_);
  address_ = context_.addressOf(intf_);
  if (address_.isUnset()) {
    BSR_TRACE(sm, 8,
              "Deferred initialization since IP address "
              "for interface ",
              intf_, " is not set");
  }
  awaited_ = address_.isUnset() && !context_.sourceIntfSm->initialDumpDone();
  initialized_ = initialized_ || !address_.isUnset();
}

void BsrCandidateConfigSm::handleDel() {
  BSR_TRACE(sm, 9, "");
  groupReactor_.reset();
  aclReactor_.reset();
  for (const IpGenPrefix& group : unionOf(group_)) doGroupRemove(group);
  for (const std::string& acl : unionOf(acl_)) {
    doAclRemove(acl);
    BSR_TRACE(sm, 4, "Deleted candidate BSR for acl ", acl);
  }
}

void BsrCandidateConfigSm::handleIpAddress() {
  BSR_TRACE(sm, 9, "");
  const IpGenAddr now = context_.addressOf(intf_);
  if (now == address_) return;
  address_ = now;
  awaited_ = false;
  if (now.isUnset()) {
    BSR_TRACE(sm, 8, "Interface ", intf_, " IP unset");
  } else {
    BSR_TRACE(sm, 8, "Interface ", intf_, " assigned IP ", now);
    initialized_ = true;
  }
  claimAll();
}

void BsrCandidateConfigSm::handleInitialDumpDone() {
  BSR_TRACE(sm, 9, "");
  awaited_ = false;
  claimAll();
}

void BsrCandidateConfigSm::handleGroup(const IpGenPrefix& group) {
  BSR_TRACE(sm, 9, "");
  const std::shared_ptr<const BsrCandidateGroup> entry = config_->group(group);
  if (!entry) return doGroupRemove(group);
  auto& sm = group_[group];
  if (!sm) {
    sm = std::make_unique<BsrCandidateEntrySm>(
        vrfName(), context_.explained->settling([this, group] { doGroupAdd(group); }));
  }
  sm->entryIs(entry);
  doGroupAdd(group);
}

void BsrCandidateConfigSm::handleAcl(const std::string& acl) {
  BSR_TRACE(sm, 9, "");
  const std::shared_ptr<const BsrCandidateAcl> entry = config_->acl(acl);
  if (!entry) return doAclRemove(acl);
  auto& sm = acl_[acl];
  if (!sm) {
    sm = std::make_unique<BsrCandidateEntrySm>(
        vrfName(), context_.explained->settling([this, acl] { doAclAdd(acl); }));
  }
  sm->entryIs(entry);
  doAclAdd(acl);
}

// --- what they claim --------------------------------------------------------------------------

ZoneTerms BsrCandidateConfigSm::terms(const BsrCandidateEntrySm& entry) const {
  return {address_, awaited_, entry.settings()};
}

void BsrCandidateConfigSm::claimAll() {
  for (const auto& [group, entry] : group_) doGroupAdd(group);
  for (const auto& [acl, entry] : acl_) doAclAdd(acl);
}

void BsrCandidateConfigSm::doGroupAdd(const IpGenPrefix& group) {
  BsrCandidateEntrySm& entry = *group_.at(group);
  if (!initialized_ || !entry.handleInitialize()) return;
  context_.explained->zones.claim(group, {intf_, ""}, terms(entry));
}

void BsrCandidateConfigSm::doGroupRemove(const IpGenPrefix& group) {
  if (group_.erase(group) > 0) context_.explained->zones.withdraw(group, {intf_, ""});
}

void BsrCandidateConfigSm::doAclAdd(const std::string& name) {
  BsrCandidateEntrySm& entry = *acl_.at(name);
  if (!initialized_ || !entry.handleInitialize()) return;
  const auto acl = context_.acls->expanded(name);
  if (!acl->cbsrIntf(intf_)) {
    acl->cbsrIntfIs(intf_, true);
    BSR_TRACE(sm, 8, "Added interface ", intf_, " to BsrConfigAcl object for acl ", name);
  }
  context_.explained->zones.claimList(name, intf_);
  for (const IpGenPrefix& zone : acl->grpPrefix()) doAclPrefixActivate(name, zone);
}

void BsrCandidateConfigSm::doAclRemove(const std::string& name) {
  const auto found = acl_.find(name);
  if (found == acl_.end()) return;
  const bool started = found->second->started();
  acl_.erase(found);
  if (!started) return;
  const auto acl = context_.state->bsrConfigAcl(name);
  for (const IpGenPrefix& zone : acl->grpPrefix()) doAclPrefixDeactivate(name, zone);
  context_.explained->zones.withdrawList(name, intf_);
  acl->cbsrIntfDel(intf_);
  BSR_TRACE(sm, 8, "Deleted interface ", intf_, "from BsrConfigAcl object for acl ", name);
  context_.acls->releaseUnused(name);
}

void BsrCandidateConfigSm::doAclPrefixActivate(const std::string& acl, const IpGenPrefix& zone) {
  BSR_TRACE(sm, 8, "Writing to Status for cbsr in zone ", zone, " with key  ", intf_);
  context_.explained->zones.claim(zone, {intf_, acl}, terms(*acl_.at(acl)));
}

void BsrCandidateConfigSm::doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& zone) {
  BSR_TRACE(sm, 8, "Removing CBSR with key ", intf_, " for zone ", zone);
  context_.explained->zones.withdraw(zone, {intf_, acl});
}

}  // namespace Routing::Pim::Bsr
