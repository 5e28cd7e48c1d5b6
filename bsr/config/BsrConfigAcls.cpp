#include "bsr/config/BsrConfigAcls.h"

#include <utility>

#include "bsr/config/Explained.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

BsrConfigAcls::BsrConfigAcls(const ConfigContext& context,
                             std::shared_ptr<const IpAclConfig> ipAclConfig, AclUsers& users,
                             bool restart)
    : context_(context),
      ipAclConfig_(std::move(ipAclConfig)),
      users_(users),
      restart_(restart),
      aclReactor_(ipAclConfig_->aclReactor(context.explained->settling(
          [this](const std::string& name) { handleAclConfig(name); }))) {}

std::shared_ptr<BsrConfigAcl> BsrConfigAcls::expanded(const std::string& name,
                                                      std::string_view blank) {
  ConfigState& state = *context_.state;
  if (const auto& known = state.bsrConfigAcl(name)) return known;
  auto acl = state.newBsrConfigAcl(name);
  if (restart_) {
    BSR_TRACE(sm, 8, "Created bsrConfigAcl object for acl ", blank, name);
  } else {
    BSR_TRACE(sm, 8, "Created BsrConfigAcl object for acl ", name);
  }
  handleAclConfig(name);
  return acl;
}

void BsrConfigAcls::releaseUnused(const std::string& name) {
  const auto acl = context_.state->bsrConfigAcl(name);
  if (!acl || acl->inUse()) return;
  bsrConfigAclSm_.erase(name);
  context_.state->bsrConfigAclDel(name);
  BSR_TRACE(sm, 8, "Deleted BsrConfigAcl object for acl ", name);
}

void BsrConfigAcls::handleAclConfig(const std::string& name) {
  BSR_TRACE(sm, 9, "");
  const auto acl = context_.state->bsrConfigAcl(name);
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
  sm = std::make_unique<BsrConfigAclSm>(context_, acl, aclConfig, users_);
}

}  // namespace Routing::Pim::Bsr
