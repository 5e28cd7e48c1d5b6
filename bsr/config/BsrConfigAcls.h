#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "bsr/config/BsrConfigAclSm.h"
#include "bsr/config/ConfigContext.h"

namespace Routing::Pim::Bsr {

/// The access lists that BSR configuration names. A list is expanded first, without users; then a
/// user attaches itself to the entity and counts the prefixes, so that none is counted twice.
class BsrConfigAcls {
 public:
  BsrConfigAcls(const ConfigContext& context, std::shared_ptr<const IpAclConfig> ipAclConfig,
                AclUsers& users);

  /// Finds or creates the expanded list; one that is not configured expands to nothing.
  std::shared_ptr<BsrConfigAcl> expanded(
      const std::string& name,
      std::string_view createdText = "Created BsrConfigAcl object for acl ");
  /// Deletes the list if nobody uses it.
  void releaseUnused(const std::string& name);
  void releaseUnused();

 private:
  void handleAclConfig(const std::string& name);
  const VrfName& vrfName() const { return status_->vrfName(); }

  std::shared_ptr<const Status> status_;
  std::shared_ptr<ConfigState> state_;
  std::shared_ptr<const IpAclConfig> ipAclConfig_;
  AclUsers& users_;
  std::map<std::string, std::unique_ptr<BsrConfigAclSm>> bsrConfigAclSm_;
  Subscription aclReactor_;
};

}  // namespace Routing::Pim::Bsr
