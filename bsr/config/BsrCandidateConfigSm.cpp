#include "bsr/config/BsrCandidateConfigSm.h"

#include <vector>

#include "bsr/config/BsrConfigAcls.h"
#include "bsr/types/Traces.h"
#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {

void BsrCandidateConfigSm::configIs(const std::shared_ptr<const BsrCandidateConfig>& config) {
  const bool isNew = config_ == nullptr;
  config_ = config;
  groupReactor_ = config_->groupReactor([this](const IpGenPrefix& group) { handleGroup(group); });
  aclReactor_ = config_->aclReactor([this](const std::string& acl) { handleAcl(acl); });
  if (isNew) return handleInitialized();
  std::set<IpGenPrefix> groups;
  for (const auto& entry : group_) groups.insert(entry.first);
  for (const auto& entry : config_->group()) handleGroup(entry.first);
  std::set<std::string> acls;
  for (const auto& entry : acl_) acls.insert(entry.first);
  for (const auto& entry : config_->acl()) handleAcl(entry.first);
  for (const IpGenPrefix& group : groups) {
    if (!config_->group(group)) handleGroup(group);
  }
  for (const std::string& acl : acls) {
    if (!config_->acl(acl)) handleAcl(acl);
  }
}

void BsrCandidateConfigSm::handleInitialized() {
  BSR_TRACE(sm, 9, "");
  BSR_TRACE(sm, 4, "New BSR candidate configured for interface ", intf_);
  for (const auto& entry : config_->group()) handleGroup(entry.first);
  for (const auto& entry : config_->acl()) handleAcl(entry.first);
  address_ = context_.addressOf(intf_);
  if (address_.isUnset()) {
    BSR_TRACE(sm, 8,
              "Deferred initialization since IP address "
              "for interface ",
              intf_, " is not set");
    return;
  }
  start();
}

// Everything is counted before anything is written: where several entries give one zone, an earlier
// run's candidate must not be seen to change on the way to the settings that it has already.
void BsrCandidateConfigSm::start() {
  initialized_ = true;
  held_ = true;
  for (const auto& entry : group_) entry.second->handleInitialize();
  for (const auto& entry : acl_) entry.second->handleInitialize();
  held_ = false;
  for (const IpGenPrefix& zone : zones()) zoneShow(zone, true);
  dropStrangers();
}

// What an earlier run left for this interface, while its address was still unknown.
void BsrCandidateConfigSm::dropStrangers() const {
  std::vector<IpGenPrefix> strangers;
  for (const auto& [zone, candidate] : context_.status->cbsr()) {
    if (candidate->intfId() == intf_ && carrier(zone) == nullptr) strangers.push_back(zone);
  }
  for (const IpGenPrefix& zone : strangers) context_.status->cbsrDel(zone);
}

void BsrCandidateConfigSm::handleGroup(const IpGenPrefix& group) {
  BSR_TRACE(sm, 9, "");
  const std::shared_ptr<const BsrCandidateGroup> entry = config_->group(group);
  const auto it = group_.find(group);
  if (entry) {
    auto& sm = group_[group];
    if (!sm) sm = std::make_unique<BsrCandidateGroupSm>(*this, group);
    sm->entryIs(entry);
    sm->handleInitialize();
  } else if (it != group_.end()) {
    it->second->handleDel();
    group_.erase(it);
  }
}

void BsrCandidateConfigSm::handleAcl(const std::string& acl) {
  BSR_TRACE(sm, 9, "");
  const std::shared_ptr<const BsrCandidateAcl> entry = config_->acl(acl);
  const auto it = acl_.find(acl);
  if (entry) {
    auto& sm = acl_[acl];
    if (!sm) sm = std::make_unique<BsrCandidateAclSm>(*this, acl);
    sm->entryIs(entry);
    sm->handleInitialize();
  } else if (it != acl_.end()) {
    it->second->handleDel();
    acl_.erase(it);
  }
}

void BsrCandidateConfigSm::handleDel() {
  BSR_TRACE(sm, 9, "");
  groupReactor_.reset();
  aclReactor_.reset();
  for (const auto& [group, sm] : group_) {
    sm->handleDel();
    BSR_TRACE(sm, 4, "Deleted candidate BSR for zone ", group);
  }
  for (const auto& [acl, sm] : acl_) {
    sm->handleDel();
    BSR_TRACE(sm, 4, "Deleted candidate BSR for acl ", acl);
  }
  group_.clear();
  acl_.clear();
  dropStrangers();
}

void BsrCandidateConfigSm::handleIpAddress() {
  BSR_TRACE(sm, 9, "");
  const IpGenAddr now = context_.addressOf(intf_);
  if (now == address_) return;
  address_ = now;
  if (now.isUnset()) {
    BSR_TRACE(sm, 8, "Interface ", intf_, " IP unset");
    for (const IpGenPrefix& zone : zones()) cbsrDel(zone);
    return;
  }
  BSR_TRACE(sm, 8, "Interface ", intf_, " assigned IP ", now);
  if (!initialized_) return start();
  for (const IpGenPrefix& zone : zones()) zoneWrite(zone);
}

void BsrCandidateConfigSm::doAclPrefixActivate(const std::string& acl, const IpGenPrefix& zone) {
  const auto it = acl_.find(acl);
  if (it != acl_.end()) it->second->doAclPrefixActivate(zone);
}

void BsrCandidateConfigSm::doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& zone) {
  const auto it = acl_.find(acl);
  if (it != acl_.end()) it->second->doAclPrefixDeactivate(zone);
}

void BsrCandidateConfigSm::ownerCheck(const IntfId* owner) const {
  if (owner == nullptr) return;
  BSR_TRACE(sm, 3, "Interface ", *owner, " already BSR for zone. Asserting...");
  ROUTING_ASSERT_TEXT(*owner == intf_, "intfId == kelBsrCandidateConfig()->intfId()");
}

void BsrCandidateConfigSm::zoneCheck(const IpGenPrefix& zone) const {
  for (const auto& [intf, counts] : context_.state->cbsrPfxRefCount()) {
    if (intf != intf_ && counts->counter(zone) != nullptr) ownerCheck(&intf);
  }
}

void BsrCandidateConfigSm::countIs(const IpGenPrefix& zone) {
  ConfigState& state = *context_.state;
  if (!state.cbsrPfxRefCount(intf_)) {
    state.newCbsrPfxRefCount(intf_);
    BSR_TRACE(sm, 8, "Created refcount object for interface ", intf_);
  }
  const std::uint32_t count = counterInc(*state.cbsrPfxRefCount(intf_), zone);
  if (!held_) zoneShow(zone, count == 1);
  BSR_TRACE(sm, 8, "PrefixCounter for prefix ", zone, " is ", count);
}

void BsrCandidateConfigSm::zoneShow(const IpGenPrefix& zone, bool isNew) {
  const bool created = zoneWrite(zone);
  const auto& candidate = context_.status->cbsr(zone);
  if (!isNew || !candidate) return;
  if (created && group_.contains(zone)) {
    BSR_TRACE(sm, 8, "Created CBSR zone ", zone);
  } else if (created) {
    BSR_TRACE(sm, 8, "Created zone ", zone, " for CBSR");
  }
  BSR_TRACE(sm, 4, "Created candidate BSR for zone ", zone, " with IP ", candidate->address(),
            ", Priority=", candidate->priority(), ", HashMaskLen=", candidate->hashMaskLen(),
            ", Interval=", candidate->bsPeriod());
}

void BsrCandidateConfigSm::countDel(const IpGenPrefix& zone) {
  const auto counts = context_.state->cbsrPfxRefCount(intf_);
  const std::uint32_t left = counterDec(*counts, zone);
  BSR_TRACE(sm, 8, "PrefixCounter for prefix ", zone, " is ", left);
  if (left > 0) {
    zoneWrite(zone);
    return;
  }
  if (counts->counter().empty()) {
    context_.state->cbsrPfxRefCountDel(intf_);
    BSR_TRACE(sm, 8, "Deleted refcount object for interface ", intf_);
  }
  cbsrDel(zone);
}

std::shared_ptr<BsrCandidate> BsrCandidateConfigSm::shownBy(const BsrCandidateEntrySm& entry,
                                                            const IpGenPrefix& zone) const {
  if (address_.isUnset() || carrier(zone) != &entry) return nullptr;
  return context_.status->cbsr(zone);
}

const BsrCandidateEntrySm* BsrCandidateConfigSm::carrier(const IpGenPrefix& zone) const {
  for (auto it = acl_.rbegin(); it != acl_.rend(); ++it) {
    if (it->second->produces(zone)) return it->second.get();
  }
  const auto it = group_.find(zone);
  return it != group_.end() && it->second->produces(zone) ? it->second.get() : nullptr;
}

std::set<IpGenPrefix> BsrCandidateConfigSm::zones() const {
  std::set<IpGenPrefix> zones;
  const auto& counts = context_.state->cbsrPfxRefCount(intf_);
  if (!counts) return zones;
  for (const auto& entry : counts->counter()) zones.insert(entry.first);
  return zones;
}

/// Brings the candidate of a zone up to date where it stands; an entry is never replaced, because
/// that would end its election. True if it had to be created.
bool BsrCandidateConfigSm::zoneWrite(const IpGenPrefix& zone) {
  const BsrCandidateEntrySm* entry = carrier(zone);
  if (address_.isUnset() || entry == nullptr) return false;
  const bool created = !context_.status->cbsr(zone);
  const auto candidate = context_.status->newCbsr(zone);
  candidate->addressIs(address_);
  candidate->intfIdIs(intf_);
  candidate->priorityIs(entry->settings().priority);
  candidate->hashMaskLenIs(entry->settings().hashMaskLen);
  candidate->bsPeriodIs(entry->settings().interval);
  return created;
}

void BsrCandidateConfigSm::cbsrDel(const IpGenPrefix& zone) {
  const auto candidate = context_.status->cbsr(zone);
  if (!candidate || candidate->intfId() != intf_) return;
  context_.status->cbsrDel(zone);
  BSR_TRACE(sm, 4, "Deleted candidate BSR for zone ", zone);
}

}  // namespace Routing::Pim::Bsr
