#pragma once

#include <map>
#include <set>
#include <string>

#include "bsr/config/BsrCandidateSettings.h"
#include "bsr/config/PrefixCounts.h"
#include "bsr/config/ZoneClaims.h"

namespace Routing::Pim::Bsr {

/// What a candidate BSR is to show. Without address there is none; while its address is `awaited`,
/// one that an earlier run left stays as it is.
struct ZoneTerms {
  IpGenAddr address;
  bool awaited = false;
  BsrCandidateSettings settings;
  friend bool operator==(const ZoneTerms&, const ZoneTerms&) = default;
};

/// The zones in which this router is candidate BSR: what groups and access lists claim, and
/// `Status::cbsr`, `zoneGroup` and `zoneAcl` made of it. The last source of a zone gives its
/// settings: the last access list by name, or else the group.
///
/// An entry that stays with its interface is written in place, because a new one would begin a new
/// election; with another interface it goes and comes again.
class ExplainedZones {
 public:
  explicit ExplainedZones(const ConfigContext& context);

  void claim(const IpGenPrefix& zone, const ZoneSource& source, const ZoneTerms& terms);
  void withdraw(const IpGenPrefix& zone, const ZoneSource& source);
  /// The interface names the list, whatever that permits.
  void claimList(const std::string& list, const IntfId& intf);
  void withdrawList(const std::string& list, const IntfId& intf);

  /// A failed assertion if a zone or a list that has changed has two interfaces. Writes nothing.
  void check();
  /// Writes what has changed: what comes before what goes.
  void settle();
  bool settled() const { return changed_.empty() && changedLists_.empty(); }
  /// Deletes candidates that an earlier run left in the status and that nothing claims.
  void removeExtra() const;
  /// The same of zoneGroup and zoneAcl.
  void removeExtraOwners() const;

 private:
  using Sources = Claims<IpGenPrefix, ZoneSource, ZoneTerms>::Sources;
  /// What the sources of a zone explain.
  struct Zone {
    IntfId intf;
    bool group = false;  // claimed by a group, not by lists alone
    std::size_t count = 0;
    ZoneTerms terms;
  };
  static Zone explain(const Sources& sources);

  void listIs(const std::string& list);
  void listDel(const std::string& list);
  void zoneIs(const IpGenPrefix& zone, const Zone& wanted);
  void zoneDel(const IpGenPrefix& zone);
  void groupIs(const IpGenPrefix& zone, const IntfId& intf, bool claimed);
  void candidateIs(const IpGenPrefix& zone, const Zone& wanted);
  void candidateDel(const IpGenPrefix& zone);
  [[noreturn]] void refuse(const IntfId& owner) const;
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const PrefixCounts<BsrCandidatePrefixRefCount> counts_;
  ZoneClaims<ZoneTerms> claims_;
  std::map<IpGenPrefix, IntfId> owner_;  // as last written
  std::set<IpGenPrefix> changed_;
  std::set<std::string> changedLists_;
};

}  // namespace Routing::Pim::Bsr
