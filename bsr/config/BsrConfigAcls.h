#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "bsr/config/BsrConfigAclSm.h"
#include "bsr/config/ConfigContext.h"

namespace Routing::Pim::Bsr {

/// The access lists that BSR configuration names. A list is expanded first, without users; then a
/// user attaches itself to the entity and claims its prefixes.
class BsrConfigAcls {
 public:
  /// `restart`: what is made until startedIs() is made of a status that was there.
  BsrConfigAcls(const ConfigContext& context, std::shared_ptr<const IpAclConfig> ipAclConfig,
                AclUsers& users, bool restart);

  /// Finds or creates the expanded list; one that is not configured expands to nothing. The blank
  /// stands before the name where a restart traces it.
  std::shared_ptr<BsrConfigAcl> expanded(const std::string& name, std::string_view blank = "");
  /// Deletes the list if nobody uses it.
  void releaseUnused(const std::string& name);
  void startedIs() { restart_ = false; }

 private:
  void handleAclConfig(const std::string& name);
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  std::shared_ptr<const IpAclConfig> ipAclConfig_;
  AclUsers& users_;
  bool restart_;
  std::map<std::string, std::unique_ptr<BsrConfigAclSm>> bsrConfigAclSm_;
  Subscription aclReactor_;
};

}  // namespace Routing::Pim::Bsr
