#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bsr/config/AclUsers.h"
#include "bsr/config/ConfigContext.h"
#include "bsr/config/ExplainedRps.h"

namespace Routing::Pim::Bsr {

/// The candidate-RP settings of one interface. It waits until the interface has an address; then it
/// claims the group ranges of the interface and what its access lists permit, and goes on claiming
/// them while the address is gone. An option of a range waits for its range.
class RpCandidateConfigSm final : public AclPrefixUser {
 public:
  /// `known`: an earlier run has left a candidate RP of the interface.
  RpCandidateConfigSm(const ConfigContext& context, const IntfId& intf, bool known)
      : context_(context), intf_(intf), known_(known) {}

  /// Watches these settings, starts if there is an address, and drops what earlier settings had
  /// and these have not.
  void configIs(const std::shared_ptr<const RpCandidateConfig>& config);
  /// The interface's address may have changed.
  void handleIpAddress();
  /// An address that has not come will not come.
  void handleInitialDumpDone();
  /// The interface is no candidate RP any more.
  void handleDel();

  void doAclPrefixActivate(const std::string& acl, const IpGenPrefix& prefix) override;
  void doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& prefix) override;

 private:
  void handleInitialized();
  void handleGroupRange(const IpGenPrefix& range);
  void handleAcl(const std::string& acl);
  void handleGroupRangeOptions(const IpGenPrefix& range);
  void handleAclOptions(const std::string& acl);
  void handlePriority(const IpGenPrefix& range);
  void handlePriority(const std::string& acl);
  void handleAdvInterval();
  void handleMode();
  void doGroupAdd(const IpGenPrefix& range);
  void doGroupRemove(const IpGenPrefix& range);
  void doAclAdd(const std::string& acl);
  void doAclRemove(const std::string& acl);
  void doGroupOptionsRemove(const IpGenPrefix& range);
  void doAclOptionsRemove(const std::string& acl);

  void watch();
  void watchOptions(const IpGenPrefix& range);
  void watchOptions(const std::string& acl);
  void termsAre();
  void claimAll();
  void tracePriorityLeft(const IpGenPrefix& prefix, const char* because) const;
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const IntfId intf_;
  const bool known_;
  std::shared_ptr<const RpCandidateConfig> config_;
  bool initialized_ = false;
  IpGenAddr address_;
  bool awaited_ = false;
  std::set<IpGenPrefix> ranges_;
  std::set<std::string> acls_;  // attached
  std::map<IpGenPrefix, Subscription> rangeOptions_;
  std::map<std::string, Subscription> aclOptions_;
  std::vector<Subscription> reactors_;
};

}  // namespace Routing::Pim::Bsr
