#pragma once

#include <map>
#include <memory>
#include <string>

#include "bsr/config/AclUsers.h"
#include "bsr/config/BsrCandidateEntrySm.h"
#include "bsr/config/ConfigContext.h"
#include "bsr/config/ExplainedZones.h"

namespace Routing::Pim::Bsr {

/// The candidate-BSR settings of one interface. It waits until the interface has an address; then
/// it claims the zones of its groups and of what its access lists permit, and goes on claiming
/// them while the address is gone.
class BsrCandidateConfigSm final : public AclPrefixUser {
 public:
  /// `known`: an earlier run has started the interface.
  BsrCandidateConfigSm(const ConfigContext& context, const IntfId& intf, bool known)
      : context_(context), intf_(intf), initialized_(known) {}

  /// Watches these settings, starts if there is an address, and drops what earlier settings had
  /// and these have not.
  void configIs(const std::shared_ptr<const BsrCandidateConfig>& config);
  /// The interface's address may have changed.
  void handleIpAddress();
  /// An address that has not come will not come.
  void handleInitialDumpDone();
  /// The interface is no candidate BSR any more.
  void handleDel();

  void doAclPrefixActivate(const std::string& acl, const IpGenPrefix& zone) override;
  void doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& zone) override;

 private:
  void handleInitialized();
  void handleGroup(const IpGenPrefix& group);
  void handleAcl(const std::string& acl);
  void doGroupAdd(const IpGenPrefix& group);
  void doGroupRemove(const IpGenPrefix& group);
  void doAclAdd(const std::string& acl);
  void doAclRemove(const std::string& acl);
  void claimAll();
  ZoneTerms terms(const BsrCandidateEntrySm& entry) const;
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const IntfId intf_;
  std::shared_ptr<const BsrCandidateConfig> config_;
  bool initialized_;
  IpGenAddr address_;
  bool awaited_ = false;
  std::map<IpGenPrefix, std::unique_ptr<BsrCandidateEntrySm>> group_;
  std::map<std::string, std::unique_ptr<BsrCandidateEntrySm>> acl_;
  Subscription groupReactor_;
  Subscription aclReactor_;
};

}  // namespace Routing::Pim::Bsr
