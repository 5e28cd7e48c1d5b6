#include "bsr/config/BsrConfigAcls.h"

#include <utility>
#include <vector>

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

BsrConfigAcls::BsrConfigAcls(const ConfigContext& context,
                             std::shared_ptr<const IpAclConfig> ipAclConfig, AclUsers& users)
    : status_(context.status),
      state_(context.state),
      ipAclConfig_(std::move(ipAclConfig)),
      users_(users),
      aclReactor_(
          ipAclConfig_->aclReactor([this](const std::string& name) { handleAclConfig(name); })) {}

std::shared_ptr<BsrConfigAcl> BsrConfigAcls::expanded(const std::string& name,
                                                      std::string_view createdText) {
  if (const auto& known = state_->bsrConfigAcl(name)) return known;
  auto acl = state_->newBsrConfigAcl(name);
  BSR_TRACE(sm, 8, createdText, name);
  handleAclConfig(name);
  return acl;
}

void BsrConfigAcls::releaseUnused(const std::string& name) {
  const auto acl = state_->bsrConfigAcl(name);
  if (!acl || acl->inUse()) return;
  bsrConfigAclSm_.erase(name);
  state_->bsrConfigAclDel(name);
  BSR_TRACE(sm, 8, "Deleted BsrConfigAcl object for acl ", name);
}

void BsrConfigAcls::releaseUnused() {
  std::vector<std::string> names;
  for (const auto& [name, acl] : state_->bsrConfigAcl()) names.push_back(name);
  for (const std::string& name : names) releaseUnused(name);
}

void BsrConfigAcls::handleAclConfig(const std::string& name) {
  BSR_TRACE(sm, 9, "");
  const auto acl = state_->bsrConfigAcl(name);
  if (!acl) return;
  BSR_TRACE(sm, 8, "Acl name found in BSR config ", name);
  const auto aclConfig = ipAclConfig_->acl(name);
  std::unique_ptr<BsrConfigAclSm>& sm = bsrConfigAclSm_[name];
  if (!aclConfig) {
    if (sm) sm->handleDel();
    bsrConfigAclSm_.erase(name);
    return;
  }
  BSR_TRACE(sm, 8, "Acl name found in ACL config");
  if (sm && sm->aclConfig() == aclConfig) return;
  sm.reset();  // its place is taken before the prefixes change, so that each is told of once
  sm = std::make_unique<BsrConfigAclSm>(vrfName(), status_->af(), acl, aclConfig, users_);
}

}  // namespace Routing::Pim::Bsr
