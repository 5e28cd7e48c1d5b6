#pragma once

#include <memory>
#include <set>
#include <string>

#include "bsr/config/AclUsers.h"
#include "bsr/config/ConfigContext.h"
#include "bsr/types/Config.h"

namespace Routing::Pim::Bsr {

/// The candidate-RP filter: claims the RP prefixes that its access lists permit.
class CrpFilterConfig final : public AclPrefixUser {
 public:
  explicit CrpFilterConfig(const ConfigContext& context) : context_(context) {}

  /// Watches and applies the lists that this configuration names, and drops those that it does not.
  void configIs(const std::shared_ptr<const Config>& config);

  void doAclPrefixActivate(const std::string& acl, const IpGenPrefix& prefix) override {
    doFilterAclPrefixActivate(acl, prefix);
  }
  void doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& prefix) override {
    doFilterAclPrefixDeactivate(acl, prefix);
  }

 private:
  void handleFilterAcl();
  void handleFilterAcl(const std::string& name);
  void doFilterAclAdd(const std::string& name);
  void doFilterAclRemove(const std::string& name);
  void doFilterAclPrefixActivate(const std::string& name, const IpGenPrefix& prefix);
  void doFilterAclPrefixDeactivate(const std::string& name, const IpGenPrefix& prefix);
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  std::shared_ptr<const Config> config_;
  std::set<std::string> acls_;  // attached
  Subscription filterAclReactor_;
};

}  // namespace Routing::Pim::Bsr
