#include "bsr/config/BsrConfigAclSm.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "bsr/config/Explained.h"
#include "bsr/types/Traces.h"
#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {
namespace {

using Prefixes = std::set<IpGenPrefix>;

Prefixes only(const Prefixes& in, const Prefixes& notIn) {
  Prefixes result;
  std::set_difference(in.begin(), in.end(), notIn.begin(), notIn.end(),
                      std::inserter(result, result.end()));
  return result;
}

template <class Find>
void forward(const std::set<IntfId>& intfs, const std::string& acl, const IpGenPrefix& prefix,
             bool added, Find find) {
  for (const IntfId& intf : intfs) {
    AclPrefixUser* intfSm = find(intf);
    ROUTING_ASSERT(intfSm != nullptr);
    added ? intfSm->doAclPrefixActivate(acl, prefix) : intfSm->doAclPrefixDeactivate(acl, prefix);
  }
}

}  // namespace

BsrConfigAclSm::BsrConfigAclSm(const ConfigContext& context, std::shared_ptr<BsrConfigAcl> acl,
                               std::shared_ptr<const AclConfig> aclConfig, AclUsers& users)
    : context_(context), acl_(std::move(acl)), aclConfig_(std::move(aclConfig)), users_(users) {
  Explained& explained = *context_.explained;
  reactors_.push_back(
      acl_->grpPrefixReactor([this](const IpGenPrefix& prefix) { handlePrefix(prefix); }));
  reactors_.push_back(
      acl_->prefixReactor([this](const IpGenPrefix& prefix) { handleUniPrefix(prefix); }));
  reactors_.push_back(
      aclConfig_->ruleReactor(explained.settling([this](std::uint32_t) { handleRule(); })));
  reactors_.push_back(aclConfig_->typeReactor(explained.settling([this] { handleCfg(); })));
  reactors_.push_back(aclConfig_->editingReactor(explained.settling([this] { handleCfg(); })));
  handleInitialize();
}

void BsrConfigAclSm::handleInitialize() {
  BSR_TRACE(sm, 9, "");
  prefixesAre(AclToPrefix::of(context_.status->af(), *aclConfig_));
}

void BsrConfigAclSm::handleRule() {
  BSR_TRACE(sm, 9, "");
  if (!aclConfig_->editing()) handleInitialize();
}

void BsrConfigAclSm::handleCfg() {
  BSR_TRACE(sm, 9, "");
  if (!aclConfig_->editing()) handleInitialize();
}

void BsrConfigAclSm::prefixesAre(const AclPrefixes& now) {
  for (const IpGenPrefix& prefix : only(now.group, acl_->grpPrefix())) {
    acl_->grpPrefixIs(prefix, true);
  }
  for (const IpGenPrefix& prefix : only(now.unicast, acl_->prefix())) acl_->prefixIs(prefix, true);
  for (const IpGenPrefix& prefix : only(acl_->grpPrefix(), now.group)) acl_->grpPrefixDel(prefix);
  for (const IpGenPrefix& prefix : only(acl_->prefix(), now.unicast)) acl_->prefixDel(prefix);
}

void BsrConfigAclSm::handlePrefix(const IpGenPrefix& prefix) {
  const bool added = acl_->grpPrefix(prefix);
  BSR_TRACE(sm, 8,
            added ? "Group added to BsrConfigAcl Map " : "Group deleted from the BsrConfigAcl Map ",
            prefix);
  const std::string& name = acl_->aclName();
  forward(acl_->borderIntf(), name, prefix, added,
          [this](const IntfId& intf) { return users_.borderUser(intf); });
  forward(acl_->cbsrIntf(), name, prefix, added,
          [this](const IntfId& intf) { return users_.cbsrUser(intf); });
  forward(acl_->crpIntf(), name, prefix, added,
          [this](const IntfId& intf) { return users_.crpUser(intf); });
}

void BsrConfigAclSm::handleUniPrefix(const IpGenPrefix& prefix) {
  const bool added = acl_->prefix(prefix);
  BSR_TRACE(sm, 8,
            added ? "Unicast prefix added to BsrConfigAcl Map "
                  : "Unicast prefix deleted from the BsrConfigAcl Map ",
            prefix);
  if (!acl_->usedByCrpAdvAclFilter()) return;
  AclPrefixUser& filter = users_.filterUser();
  added ? filter.doAclPrefixActivate(acl_->aclName(), prefix)
        : filter.doAclPrefixDeactivate(acl_->aclName(), prefix);
}

}  // namespace Routing::Pim::Bsr
