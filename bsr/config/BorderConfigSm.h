#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "bsr/config/AclUsers.h"
#include "bsr/config/ConfigContext.h"
#include "bsr/types/Config.h"

namespace Routing::Pim::Bsr {

/// The border settings of one interface: for which group prefixes the status lists it as a border.
class BorderConfigSm final : public AclPrefixUser {
 public:
  BorderConfigSm(const ConfigContext& context, const IntfId& intf)
      : context_(context), intf_(intf) {}

  /// Applies these settings; what earlier ones asked for and these do not goes afterwards.
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
  void keepOnly(const std::set<IpGenPrefix>& groups, const std::set<std::string>& acls);

  /// How the traces of a step end; groups and prefixes that come and go by edits of lists are
  /// worded differently.
  struct Words {
    const char* created;
    const char* added;
    const char* deletedIntf;
  };
  void count(const IpGenPrefix& prefix, const Words& words);
  void uncount(const IpGenPrefix& prefix, const Words& words);
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const IntfId intf_;
  std::shared_ptr<const IntfConfig> config_;
  std::set<IpGenPrefix> groups_;                       // counted
  std::map<std::string, std::set<IpGenPrefix>> acls_;  // attached, with the prefixes counted
  Subscription groupReactor_;
  Subscription aclReactor_;
};

}  // namespace Routing::Pim::Bsr
