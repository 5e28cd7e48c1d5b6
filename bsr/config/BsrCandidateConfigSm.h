#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "bsr/config/AclUsers.h"
#include "bsr/config/BsrCandidateEntrySm.h"
#include "bsr/config/ConfigContext.h"

namespace Routing::Pim::Bsr {

/// The candidate-BSR settings of one interface. It waits until the interface has an address; then
/// the status has a candidate for each zone that the groups and access lists of the interface give.
/// While the address is gone, the candidates are too, and what was configured is remembered.
///
/// Where several entries give one zone, the settings are those of the last access list by name, or
/// else the group's: what a start would write last, whatever the order of the edits was.
class BsrCandidateConfigSm final : public AclPrefixUser {
 public:
  BsrCandidateConfigSm(const ConfigContext& context, const IntfId& intf)
      : context_(context), intf_(intf) {}

  /// Watches these settings, starts if there is an address, and drops what earlier settings had
  /// and these have not.
  void configIs(const std::shared_ptr<const BsrCandidateConfig>& config);
  /// The interface's address may have changed.
  void handleIpAddress();
  /// The interface is no candidate BSR any more.
  void handleDel();
  bool initialized() const { return initialized_; }

  void doAclPrefixActivate(const std::string& acl, const IpGenPrefix& zone) override;
  void doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& zone) override;

  /// A failed assertion if another interface has claimed the zone.
  void zoneCheck(const IpGenPrefix& zone) const;

  // Services for the entries.
  const ConfigContext& context() const { return context_; }
  const IntfId& intf() const { return intf_; }
  /// Traces a claim that exists and asserts that it is this interface's own.
  void ownerCheck(const IntfId* owner) const;
  void countIs(const IpGenPrefix& zone);
  void countDel(const IpGenPrefix& zone);
  /// The candidate of the zone, if this entry's settings are the ones it shows; else null.
  std::shared_ptr<BsrCandidate> shownBy(const BsrCandidateEntrySm& entry,
                                        const IpGenPrefix& zone) const;

 private:
  void handleInitialized();
  void handleGroup(const IpGenPrefix& group);
  void handleAcl(const std::string& acl);
  void start();
  void dropStrangers() const;
  std::set<IpGenPrefix> zones() const;
  const BsrCandidateEntrySm* carrier(const IpGenPrefix& zone) const;
  void zoneShow(const IpGenPrefix& zone, bool isNew);
  bool zoneWrite(const IpGenPrefix& zone);
  void cbsrDel(const IpGenPrefix& zone);
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const IntfId intf_;
  std::shared_ptr<const BsrCandidateConfig> config_;
  bool initialized_ = false;
  bool held_ = false;  // starting: entries are counted and not yet written
  IpGenAddr address_;  // as last written
  std::map<IpGenPrefix, std::unique_ptr<BsrCandidateGroupSm>> group_;
  std::map<std::string, std::unique_ptr<BsrCandidateAclSm>> acl_;
  Subscription groupReactor_;
  Subscription aclReactor_;
};

}  // namespace Routing::Pim::Bsr
