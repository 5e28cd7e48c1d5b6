#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "bsr/config/Claims.h"
#include "bsr/config/PrefixCounts.h"
#include "bsr/types/Config.h"

namespace Routing::Pim::Bsr {

/// What an interface says of the candidate RP of its address. While its address is `awaited`, what
/// an earlier run left of the interface stays as it is.
struct RpTerms {
  bool awaited = false;
  CrpAdvInterval interval;
  PimMode mode = PimMode::sparse;
  friend bool operator==(const RpTerms&, const RpTerms&) = default;
};

/// The candidate RPs of this router: what group ranges and access lists claim, and `Status::crp`
/// made of it. Usually one interface has an address; where several have it, the prefixes are those
/// of all, and the first by name gives the rest. A prefix has the priority of the last access list
/// by name that gives it one, or else that of the range.
///
/// An entry exists while it serves a group. A prefix is in `prefixSet` before it is in
/// `prefixOptions`, and leaves in reverse.
class ExplainedRps {
 public:
  using Priority = std::optional<RpPriority>;

  explicit ExplainedRps(const ConfigContext& context);

  /// An interface with or without (unset) address; it moves with all that it claims.
  void interfaceIs(const IntfId& intf, const IpGenAddr& address, const RpTerms& terms);
  void interfaceDel(const IntfId& intf);
  /// An empty list stands for a group range.
  void claim(const IntfId& intf, const IpGenPrefix& prefix, const std::string& list,
             const Priority& priority);
  void withdraw(const IntfId& intf, const IpGenPrefix& prefix, const std::string& list);
  /// The priority that the interface gives the prefix.
  Priority priorityOf(const IntfId& intf, const IpGenPrefix& prefix) const;

  /// Writes what has changed: what comes before what goes.
  void settle();
  bool settled() const { return changed_.empty() && changedRanges_.empty(); }
  /// Deletes entries that an earlier run left in the status and that no interface explains.
  void removeExtra() const;

 private:
  using Range = std::pair<IntfId, IpGenPrefix>;
  /// What changed last about a range; the traces differ.
  enum class Cause { range, list };
  /// What changed of an address: what its interfaces say, or even which interfaces those are.
  enum class Change { terms, interfaces };

  void leave(const IntfId& intf);
  void touch(const IntfId& intf);
  void note(const IpGenAddr& address, Change change);
  IpGenAddr addressOf(const IntfId& intf) const;
  std::set<IpGenPrefix> prefixesOf(const IntfId& intf) const;
  bool claimsSome(const IntfId& intf) const;
  bool served(const IpGenAddr& address, const IpGenPrefix& prefix) const;
  Priority priorityAt(const IpGenAddr& address, const IpGenPrefix& prefix) const;
  bool awaited(const IntfId& intf) const;
  bool explains(const RpCandidate& entry) const;

  void addRange(const Range& range);
  void removeRange(const Range& range, Cause cause);
  void removeRest(const IpGenAddr& address);
  void prefixIs(const IpGenAddr& address, const IpGenPrefix& prefix);
  void prefixDel(const IpGenAddr& address, const IpGenPrefix& prefix, Cause cause);
  void priorityIs(RpCandidate& entry, const IpGenPrefix& prefix);
  void termsAre(const IpGenAddr& address, bool isNew);
  void entryDel(const IpGenAddr& address, const char* because);
  void traceAdded(const IpGenAddr& address, const IpGenPrefix& prefix, bool isNew) const;
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const PrefixCounts<RpCandidatePrefixRefCount> counts_;
  std::map<IntfId, IpGenAddr> address_;
  Claims<IpGenAddr, IntfId, RpTerms> interfaces_;  // unset: those without address
  Claims<Range, std::string, Priority> ranges_;
  std::map<IpGenAddr, CrpAdvInterval> interval_;  // as last written; others stretch it
  std::map<Range, Cause> changedRanges_;
  std::map<IpGenAddr, Change> changed_;
};

}  // namespace Routing::Pim::Bsr
