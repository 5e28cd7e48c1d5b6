#pragma once

#include <memory>
#include <vector>

#include "bsr/config/AclUsers.h"
#include "bsr/config/ConfigContext.h"
#include "platform/acl/AclToPrefix.h"

namespace Routing::Pim::Bsr {

/// Keeps one access list expanded: what its rules permit, and whoever uses it in step with that.
class BsrConfigAclSm {
 public:
  BsrConfigAclSm(const ConfigContext& context, std::shared_ptr<BsrConfigAcl> acl,
                 std::shared_ptr<const AclConfig> aclConfig, AclUsers& users);
  BsrConfigAclSm(const BsrConfigAclSm&) = delete;
  BsrConfigAclSm& operator=(const BsrConfigAclSm&) = delete;

  const std::shared_ptr<const AclConfig>& aclConfig() const { return aclConfig_; }
  /// The list is gone: takes every prefix back.
  void handleDel() { prefixesAre({}); }

 private:
  void handleInitialize();
  void handleRule();
  void handleCfg();
  void handlePrefix(const IpGenPrefix& prefix);
  void handleUniPrefix(const IpGenPrefix& prefix);
  void prefixesAre(const AclPrefixes& now);
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  std::shared_ptr<BsrConfigAcl> acl_;
  std::shared_ptr<const AclConfig> aclConfig_;
  AclUsers& users_;
  std::vector<Subscription> reactors_;
};

}  // namespace Routing::Pim::Bsr
