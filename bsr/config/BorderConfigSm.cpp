#include "bsr/config/BorderConfigSm.h"

#include "bsr/config/BsrConfigAcls.h"
#include "bsr/config/Explained.h"
#include "bsr/config/Keys.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

using Cause = ExplainedBorders::Cause;

void BorderConfigSm::configIs(const std::shared_ptr<const IntfConfig>& config) {
  config_ = config;
  Explained& explained = *context_.explained;
  groupReactor_ = config_->bsrBorderGrpReactor(
      explained.settling([this](const IpGenPrefix& group) { handleBsrBorderGrp(group); }));
  aclReactor_ = config_->bsrBorderAclReactor(
      explained.settling([this](const std::string& acl) { handleBsrBorderAcl(acl); }));
  handleBsrBorderGrp();
  for (const std::string& acl : unionOf(config_->bsrBorderAcl(), acls_)) handleBsrBorderAcl(acl);
}

void BorderConfigSm::handleDel() {
  BSR_TRACE(sm, 9, "");
  groupReactor_.reset();
  aclReactor_.reset();
  const auto groups = groups_;
  for (const IpGenPrefix& group : groups) doGroupRemove(group);
  const auto acls = acls_;
  for (const std::string& acl : acls) doAclRemove(acl);
}

void BorderConfigSm::handleBsrBorderGrp() {
  BSR_TRACE(sm, 9, "");
  for (const IpGenPrefix& group : unionOf(config_->bsrBorderGrp(), groups_)) {
    handleBsrBorderGrp(group);
  }
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
  groups_.insert(group);
  context_.explained->borders.claim(intf_, group, "", Cause::group);
}

void BorderConfigSm::doGroupRemove(const IpGenPrefix& group) {
  groups_.erase(group);
  context_.explained->borders.withdraw(intf_, group, "", Cause::group);
}

void BorderConfigSm::doAclAdd(const std::string& name) {
  if (!acls_.insert(name).second) return;
  const auto acl = context_.acls->expanded(name);
  acl->borderIntfIs(intf_, true);
  BSR_TRACE(sm, 8, "Added interface ", intf_, " to BsrConfigAcl object for acl ", name);
  for (const IpGenPrefix& prefix : acl->grpPrefix()) {
    context_.explained->borders.claim(intf_, prefix, name, Cause::list);
  }
}

void BorderConfigSm::doAclRemove(const std::string& name) {
  if (acls_.erase(name) == 0) return;
  const auto acl = context_.state->bsrConfigAcl(name);
  for (const IpGenPrefix& prefix : acl->grpPrefix()) {
    context_.explained->borders.withdraw(intf_, prefix, name, Cause::list);
  }
  acl->borderIntfDel(intf_);
  BSR_TRACE(sm, 8, "Deleted interface ", intf_, "from BsrConfigAcl object for acl ", name);
  context_.acls->releaseUnused(name);
}

void BorderConfigSm::doAclPrefixActivate(const std::string& acl, const IpGenPrefix& prefix) {
  BSR_TRACE(sm, 8, "Writing to Status for ", prefix, " and interface  ", intf_);
  context_.explained->borders.claim(intf_, prefix, acl, Cause::rule);
}

void BorderConfigSm::doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& prefix) {
  BSR_TRACE(sm, 8, "Removing interface ", intf_, " for prefix ", prefix);
  context_.explained->borders.withdraw(intf_, prefix, acl, Cause::rule);
}

}  // namespace Routing::Pim::Bsr
