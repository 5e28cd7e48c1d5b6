#include "bsr/config/CrpFilterConfig.h"

#include "bsr/config/BsrConfigAcls.h"
#include "bsr/config/Explained.h"
#include "bsr/config/Keys.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

void CrpFilterConfig::configIs(const std::shared_ptr<const Config>& config) {
  config_ = config;
  filterAclReactor_ = config_->crpFilterAclReactor(
      context_.explained->settling([this](const std::string& name) { handleFilterAcl(name); }));
  handleFilterAcl();
}

void CrpFilterConfig::handleFilterAcl() {
  BSR_TRACE(sm, 9, "");
  for (const std::string& name : unionOf(config_->crpFilterAcl(), acls_)) handleFilterAcl(name);
}

void CrpFilterConfig::handleFilterAcl(const std::string& name) {
  BSR_TRACE(sm, 9, "");
  config_->crpFilterAcl(name) ? doFilterAclAdd(name) : doFilterAclRemove(name);
}

void CrpFilterConfig::doFilterAclAdd(const std::string& name) {
  BSR_TRACE(sm, 9, "");
  if (!acls_.insert(name).second) return;
  const auto acl = context_.acls->expanded(name, " ");
  acl->usedByCrpAdvAclFilterIs(true);
  for (const IpGenPrefix& prefix : acl->prefix()) doFilterAclPrefixActivate(name, prefix);
}

void CrpFilterConfig::doFilterAclRemove(const std::string& name) {
  BSR_TRACE(sm, 9, "");
  if (acls_.erase(name) == 0) return;
  const auto acl = context_.state->bsrConfigAcl(name);
  for (const IpGenPrefix& prefix : acl->prefix()) doFilterAclPrefixDeactivate(name, prefix);
  acl->usedByCrpAdvAclFilterIs(false);
  context_.acls->releaseUnused(name);
}

void CrpFilterConfig::doFilterAclPrefixActivate(const std::string& name,
                                                const IpGenPrefix& prefix) {
  context_.explained->permits.claim(prefix, name);
}

void CrpFilterConfig::doFilterAclPrefixDeactivate(const std::string& name,
                                                  const IpGenPrefix& prefix) {
  context_.explained->permits.withdraw(prefix, name);
}

}  // namespace Routing::Pim::Bsr
