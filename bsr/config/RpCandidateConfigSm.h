#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "bsr/config/AclUsers.h"
#include "bsr/config/ConfigContext.h"
#include "bsr/config/RpCandidateEntries.h"

namespace Routing::Pim::Bsr {

/// The candidate-RP settings of one interface. It waits until the interface has an address; then
/// the status has a candidate RP of that address, with the group ranges of the interface and those
/// that its access lists permit. When the address changes, the entry moves with all it holds.
///
/// Where several settings give one prefix a priority, that of the last access list by name holds,
/// or else the range's own; when one goes the next takes over.
class RpCandidateConfigSm final : public AclPrefixUser, public RpCandidateSource {
 public:
  RpCandidateConfigSm(const ConfigContext& context, RpCandidateEntries& entries, const IntfId& intf)
      : context_(context), entries_(entries), intf_(intf) {}

  /// Watches these settings, starts if there is an address, and drops what earlier settings had
  /// and these have not.
  void configIs(const std::shared_ptr<const RpCandidateConfig>& config);
  /// The interface's address may have changed.
  void handleIpAddress();
  /// The interface is no candidate RP any more.
  void handleDel();

  void doAclPrefixActivate(const std::string& acl, const IpGenPrefix& prefix) override;
  void doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& prefix) override;

  bool serves(const IpGenPrefix& prefix) const override;
  std::optional<RpPriority> priorityOf(const IpGenPrefix& prefix) const override;
  std::set<IpGenPrefix> prefixes() const override;
  CrpAdvInterval interval() const override { return config_->advInterval(); }
  PimMode mode() const override { return config_->mode(); }
  void traceWritten(const IpGenPrefix& prefix, const RpCandidateChange& change) const override;

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
  void doGroupOptionsAdd(const IpGenPrefix& range, RpPriority priority);
  void doGroupOptionsRemove(const IpGenPrefix& range);
  void doAclOptionsAdd(const std::string& acl, RpPriority priority);
  void doAclOptionsRemove(const std::string& acl);

  void watch();
  void start();
  void applyAll();
  void countIs(const IpGenPrefix& prefix);
  bool countDel(const IpGenPrefix& prefix);
  RpCandidateChange write(const IpGenPrefix& prefix);
  void traceAdded(const IpGenPrefix& range, const RpCandidateChange& change) const;
  void traceAdded(const std::string& acl, const IpGenPrefix& prefix,
                  const RpCandidateChange& change) const;
  void traceDeleted(const RpCandidateChange& change) const;
  void tracePriorityAfter(const IpGenPrefix& prefix, const char* because);
  std::shared_ptr<RpCandidate> entry() const;
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  RpCandidateEntries& entries_;
  const IntfId intf_;
  std::shared_ptr<const RpCandidateConfig> config_;
  bool initialized_ = false;
  IpGenAddr address_;                                  // as last written
  std::set<IpGenPrefix> ranges_;                       // counted
  std::map<std::string, std::set<IpGenPrefix>> acls_;  // attached, with the prefixes counted
  std::map<IpGenPrefix, Subscription> rangeOptions_;
  std::map<std::string, Subscription> aclOptions_;
  std::vector<Subscription> reactors_;
};

}  // namespace Routing::Pim::Bsr
