#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "bsr/config/AclUsers.h"
#include "bsr/config/ConfigContext.h"
#include "bsr/types/Config.h"

namespace Routing::Pim::Bsr {

/// The candidate-RP filter: the status permits the RP prefixes that the filter's access lists
/// permit, and every RP where they permit none. It never permits nothing, not even between two
/// writes.
class CrpFilterConfig final : public AclPrefixUser {
 public:
  explicit CrpFilterConfig(const ConfigContext& context);

  /// Applies the lists that this configuration names, and drops those that it does not.
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
  void permit(const IpGenPrefix& prefix);
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const IpGenPrefix zeroPfx_;
  std::shared_ptr<const Config> config_;
  std::map<std::string, std::set<IpGenPrefix>> counted_;  // by list, as long as it is a filter
  bool held_ = false;                                     // lists are counted and not yet written
  Subscription filterAclReactor_;
};

}  // namespace Routing::Pim::Bsr
