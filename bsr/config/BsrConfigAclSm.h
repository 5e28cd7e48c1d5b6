#pragma once

#include <memory>
#include <vector>

#include "bsr/config/AclUsers.h"
#include "bsr/config/ConfigState.h"
#include "platform/acl/AclToPrefix.h"
#include "platform/net/VrfName.h"

namespace Routing::Pim::Bsr {

/// Keeps one access list expanded: what its rules permit, and whoever uses it in step with that.
class BsrConfigAclSm {
 public:
  BsrConfigAclSm(const VrfName& vrf, AddressFamily af, std::shared_ptr<BsrConfigAcl> acl,
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
  const VrfName& vrfName() const { return vrf_; }

  const VrfName vrf_;
  const AddressFamily af_;
  std::shared_ptr<BsrConfigAcl> acl_;
  std::shared_ptr<const AclConfig> aclConfig_;
  AclUsers& users_;
  std::vector<Subscription> reactors_;
};

}  // namespace Routing::Pim::Bsr
