#include "bsr/config/BorderConfigSm.h"

#include "bsr/config/BsrConfigAcls.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

namespace {
constexpr const char* const groupCreated = " BSR Border set";
constexpr const char* const intfAdded = " BSR border set.";
constexpr const char* const intfDeleted = "Deleted interface ";
}  // namespace

void BorderConfigSm::configIs(const std::shared_ptr<const IntfConfig>& config) {
  config_ = config;
  groupReactor_ =
      config_->bsrBorderGrpReactor([this](const IpGenPrefix& group) { handleBsrBorderGrp(group); });
  aclReactor_ =
      config_->bsrBorderAclReactor([this](const std::string& acl) { handleBsrBorderAcl(acl); });
  handleBsrBorderGrp();
  const auto acls = config_->bsrBorderAcl();
  for (const std::string& acl : acls) handleBsrBorderAcl(acl);
  keepOnly(config_->bsrBorderGrp(), config_->bsrBorderAcl());
}

void BorderConfigSm::handleDel() {
  BSR_TRACE(sm, 9, "");
  groupReactor_.reset();
  aclReactor_.reset();
  keepOnly({}, {});
}

void BorderConfigSm::keepOnly(const std::set<IpGenPrefix>& groups,
                              const std::set<std::string>& acls) {
  const auto groupsBefore = groups_;
  for (const IpGenPrefix& group : groupsBefore) {
    if (!groups.contains(group)) doGroupRemove(group);
  }
  const auto aclsBefore = acls_;
  for (const auto& [acl, prefixes] : aclsBefore) {
    if (!acls.contains(acl)) doAclRemove(acl);
  }
}

void BorderConfigSm::handleBsrBorderGrp() {
  BSR_TRACE(sm, 9, "");
  const auto groups = config_->bsrBorderGrp();
  for (const IpGenPrefix& group : groups) handleBsrBorderGrp(group);
}

void BorderConfigSm::handleBsrBorderGrp(const IpGenPrefix& group) {
  BSR_TRACE(sm, 9, "");
  config_->bsrBorderGrp(group) ? doGroupAdd(group) : doGroupRemove(group);
}

void BorderConfigSm::handleBsrBorderAcl(const std::string& acl) {
  BSR_TRACE(sm, 9, "");
  config_->bsrBorderAcl(acl) ? doAclAdd(acl) : doAclRemove(acl);
}

void BorderConfigSm::doGroupAdd(const IpGenPrefix& group) {
  if (groups_.insert(group).second) count(group, {groupCreated, intfAdded, nullptr});
}

void BorderConfigSm::doGroupRemove(const IpGenPrefix& group) {
  if (groups_.erase(group) > 0) uncount(group, {nullptr, nullptr, intfDeleted});
}

void BorderConfigSm::doAclAdd(const std::string& name) {
  if (acls_.contains(name)) return;
  const auto acl = context_.acls->expanded(name);
  acl->borderIntfIs(intf_, true);
  BSR_TRACE(sm, 8, "Added interface ", intf_, " to BsrConfigAcl object for acl ", name);
  std::set<IpGenPrefix>& counted = acls_[name];
  const auto prefixes = acl->grpPrefix();
  for (const IpGenPrefix& prefix : prefixes) {
    counted.insert(prefix);
    count(prefix, {" BSR border set", intfAdded, nullptr});
  }
}

void BorderConfigSm::doAclRemove(const std::string& name) {
  const auto it = acls_.find(name);
  if (it == acls_.end()) return;
  const auto prefixes = it->second;
  acls_.erase(it);
  for (const IpGenPrefix& prefix : prefixes) uncount(prefix, {nullptr, nullptr, intfDeleted});
  context_.state->bsrConfigAcl(name)->borderIntfDel(intf_);
  BSR_TRACE(sm, 8, "Deleted interface ", intf_, "from BsrConfigAcl object for acl ", name);
  context_.acls->releaseUnused(name);
}

void BorderConfigSm::doAclPrefixActivate(const std::string& acl, const IpGenPrefix& prefix) {
  const auto it = acls_.find(acl);
  if (it == acls_.end() || !it->second.insert(prefix).second) return;
  BSR_TRACE(sm, 8, "Writing to Status for ", prefix, " and interface  ", intf_);
  count(prefix, {" Bsr Border set", " BSR border.", nullptr});
}

void BorderConfigSm::doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& prefix) {
  const auto it = acls_.find(acl);
  if (it == acls_.end() || it->second.erase(prefix) == 0) return;
  BSR_TRACE(sm, 8, "Removing interface ", intf_, " for prefix ", prefix);
  uncount(prefix, {nullptr, nullptr, "Deleted interface"});
}

void BorderConfigSm::count(const IpGenPrefix& prefix, const Words& words) {
  ConfigState& state = *context_.state;
  if (!state.borderPfxRefCount(intf_)) {
    state.newBorderPfxRefCount(intf_);
    BSR_TRACE(sm, 8, "Created refcount object for interface ", intf_);
  }
  if (!context_.status->bsBorder(prefix)) {
    context_.status->newBsBorder(prefix);
    BSR_TRACE(sm, 4, "Created group ", prefix, words.created);
  }
  const auto border = context_.status->bsBorder(prefix);
  if (!border->intfId(intf_)) {
    border->intfIdIs(intf_, true);
    BSR_TRACE(sm, 4, "Added interface ", intf_, " into ", prefix, words.added);
  }
  const std::uint32_t now = counterInc(*state.borderPfxRefCount(intf_), prefix);
  BSR_TRACE(sm, 8, "PrefixCounter for prefix ", prefix, " is ", now);
}

void BorderConfigSm::uncount(const IpGenPrefix& prefix, const Words& words) {
  const auto counts = context_.state->borderPfxRefCount(intf_);
  const std::uint32_t left = counterDec(*counts, prefix);
  BSR_TRACE(sm, 8, "PrefixCounter for prefix ", prefix, " is ", left);
  if (left > 0) return;
  if (counts->counter().empty()) {
    context_.state->borderPfxRefCountDel(intf_);
    BSR_TRACE(sm, 8, "Deleted refcount object for interface ", intf_);
  }
  const auto border = context_.status->bsBorder(prefix);
  if (!border) return;
  border->intfIdDel(intf_);
  BSR_TRACE(sm, 4, words.deletedIntf, intf_, " from ", prefix, intfAdded);
  if (!border->intfId().empty()) return;
  context_.status->bsBorderDel(prefix);
  BSR_TRACE(sm, 4, "Deleted group ", prefix, groupCreated);
}

}  // namespace Routing::Pim::Bsr
