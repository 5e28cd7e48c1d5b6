#pragma once

#include <memory>
#include <set>
#include <string>

#include "bsr/config/AclUsers.h"
#include "bsr/config/ConfigContext.h"
#include "bsr/types/Config.h"

namespace Routing::Pim::Bsr {

/// The border settings of one interface: claims a border for each group, and for what each access
/// list permits.
class BorderConfigSm final : public AclPrefixUser {
 public:
  BorderConfigSm(const ConfigContext& context, const IntfId& intf)
      : context_(context), intf_(intf) {}

  /// Watches and claims what these settings ask for, and drops what only earlier ones did.
  void configIs(const std::shared_ptr<const IntfConfig>& config);
  /// The interface has no border settings any more.
  void handleDel();

  void doAclPrefixActivate(const std::string& acl, const IpGenPrefix& prefix) override;
  void doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& prefix) override;

 private:
  void handleBsrBorderGrp();
  void handleBsrBorderGrp(const IpGenPrefix& group);
  void handleBsrBorderAcl(const std::string& acl);
  void doGroupAdd(const IpGenPrefix& group);
  void doGroupRemove(const IpGenPrefix& group);
  void doAclAdd(const std::string& acl);
  void doAclRemove(const std::string& acl);
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const IntfId intf_;
  std::shared_ptr<const IntfConfig> config_;
  std::set<IpGenPrefix> groups_;
  std::set<std::string> acls_;  // attached
  Subscription groupReactor_;
  Subscription aclReactor_;
};

}  // namespace Routing::Pim::Bsr
