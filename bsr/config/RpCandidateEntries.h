#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>

#include "bsr/types/Config.h"
#include "bsr/types/Status.h"

namespace Routing::Pim::Bsr {

/// What a step did to the candidate RP of an address.
struct RpCandidateChange {
  bool created = false;
  bool added = false;
  bool removed = false;
  bool deleted = false;
};

/// What an interface has to say about the candidate RP of its address.
class RpCandidateSource {
 public:
  virtual ~RpCandidateSource() = default;
  virtual bool serves(const IpGenPrefix& prefix) const = 0;
  /// Nothing where no range or access list gives the prefix a priority.
  virtual std::optional<RpPriority> priorityOf(const IpGenPrefix& prefix) const = 0;
  virtual std::set<IpGenPrefix> prefixes() const = 0;
  virtual CrpAdvInterval interval() const = 0;
  virtual PimMode mode() const = 0;
  /// The prefix, which it serves, has been written together with others.
  virtual void traceWritten(const IpGenPrefix& prefix, const RpCandidateChange& change) const = 0;
};

/// The candidate RPs of the status, each made of what the interfaces with its address say. Usually
/// that is one; where several have the address, the prefixes are those of all, and the first by
/// name gives the rest.
///
/// An entry exists while it serves a group. A prefix is in `prefixSet` before it is in
/// `prefixOptions`, and leaves in reverse.
class RpCandidateEntries {
 public:
  using Change = RpCandidateChange;

  explicit RpCandidateEntries(std::shared_ptr<Status> status) : status_(std::move(status)) {}

  /// The interface has the address.
  void attach(const IpGenAddr& address, const IntfId& intf, const RpCandidateSource& source);
  /// The interface has not got the address any more. True if the entry went.
  bool detach(const IpGenAddr& address, const IntfId& intf);
  /// Brings one prefix in step.
  Change prefixIs(const IpGenAddr& address, const IpGenPrefix& prefix);
  /// Bring the entry's interval, or mode, in step.
  void intervalIs(const IpGenAddr& address);
  void modeIs(const IpGenAddr& address);

  /// While held, nothing is written; on release, all that happened meanwhile is, so that the order
  /// in which settings are found does not show. May be nested.
  void hold() { ++held_; }
  void release();

  /// Deletes the entries of addresses that no interface has: all, or those of one interface.
  void deleteStrays(const IntfId* intf = nullptr);

 private:
  using Sources = std::map<IntfId, const RpCandidateSource*>;

  const Sources& sources(const IpGenAddr& address) const;
  /// The interface whose settings the entry of the address has; null without entry or interface.
  const Sources::value_type* first(const IpGenAddr& address) const;
  bool postponed(const IpGenAddr& address);
  void priorityIs(RpCandidate& entry, const Sources& sources, const IpGenPrefix& prefix) const;
  void sync(const IpGenAddr& address);
  void settingsIs(const IpGenAddr& address);
  void prune(const IpGenAddr& address);
  const VrfName& vrfName() const { return status_->vrfName(); }

  std::shared_ptr<Status> status_;
  std::map<IpGenAddr, Sources> sources_;
  unsigned held_ = 0;
  std::set<IpGenAddr> postponed_;
};

}  // namespace Routing::Pim::Bsr
