#include "bsr/config/ExplainedZones.h"

#include <utility>
#include <vector>

#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {

ExplainedZones::ExplainedZones(const ConfigContext& context)
    : context_(context),
      counts_(context, {&ConfigState::cbsrPfxRefCount, &ConfigState::newCbsrPfxRefCount,
                        &ConfigState::cbsrPfxRefCountDel, ""}) {}

// --- what is claimed --------------------------------------------------------------------------

void ExplainedZones::claim(const IpGenPrefix& zone, const ZoneSource& source,
                           const ZoneTerms& terms) {
  if (claims_.zones.claim(zone, source, terms)) changed_.insert(zone);
}

void ExplainedZones::withdraw(const IpGenPrefix& zone, const ZoneSource& source) {
  if (claims_.zones.withdraw(zone, source)) changed_.insert(zone);
}

void ExplainedZones::claimList(const std::string& list, const IntfId& intf) {
  if (claims_.lists.claim(list, intf, {})) changedLists_.insert(list);
}

void ExplainedZones::withdrawList(const std::string& list, const IntfId& intf) {
  if (claims_.lists.withdraw(list, intf)) changedLists_.insert(list);
}

// What is refused is left alone until it changes again, so that a host that contains the failure
// can go on.
void ExplainedZones::check() {
  for (const std::string& list : changedLists_) {
    if (!claims_.listConflict(list)) continue;
    const IntfId* owner = context_.status->zoneAcl(list);
    changedLists_.erase(list);
    refuse(owner != nullptr ? *owner : claims_.lists.of(list).begin()->first);
  }
  for (const IpGenPrefix& zone : changed_) {
    if (!claims_.conflict(zone)) continue;
    const auto owner = owner_.find(zone);
    changed_.erase(zone);
    refuse(owner != owner_.end() ? owner->second : claims_.zones.of(zone).begin()->first.intf);
  }
}

void ExplainedZones::refuse(const IntfId& owner) const {
  BSR_TRACE(sm, 3, "Interface ", owner, " already BSR for zone. Asserting...");
  assertionFailed("intfId == kelBsrCandidateConfig()->intfId()", __FILE__, __LINE__);
}

// --- what the status shows of it --------------------------------------------------------------

void ExplainedZones::settle() {
  const auto lists = std::exchange(changedLists_, {});
  const auto zones = std::exchange(changed_, {});
  for (const std::string& list : lists) {
    if (claims_.lists.contains(list)) listIs(list);
  }
  std::vector<IpGenPrefix> gone;
  for (const IpGenPrefix& zone : zones) {
    const Sources& sources = claims_.zones.of(zone);
    sources.empty() ? gone.push_back(zone) : zoneIs(zone, explain(sources));
  }
  for (const IpGenPrefix& zone : gone) {
    if (!claims_.zones.contains(zone)) zoneDel(zone);
  }
  for (const std::string& list : lists) {
    if (!claims_.lists.contains(list)) listDel(list);
  }
}

void ExplainedZones::listIs(const std::string& list) {
  const IntfId intf = claims_.lists.of(list).begin()->first;
  const IntfId* owner = context_.status->zoneAcl(list);
  if (owner != nullptr && *owner == intf) return;
  context_.status->zoneAclIs(list, intf);
  BSR_TRACE(sm, 8, "Acl ", list, " forms zone with interface ", intf);
}

void ExplainedZones::listDel(const std::string& list) {
  if (context_.status->zoneAcl(list) == nullptr) return;
  context_.status->zoneAclDel(list);
  BSR_TRACE(sm, 8, "Deleted zoneAcl for acl ", list);
}

ExplainedZones::Zone ExplainedZones::explain(const Sources& sources) {
  const auto& [first, unused] = *sources.begin();
  const auto& [last, terms] = *sources.rbegin();
  return {last.intf, first.list.empty(), sources.size(), terms};
}

void ExplainedZones::zoneIs(const IpGenPrefix& zone, const Zone& wanted) {
  const IntfId& owner = owner_.try_emplace(zone, wanted.intf).first->second;
  if (owner != wanted.intf) {
    zoneDel(zone);
    owner_.emplace(zone, wanted.intf);
  }
  counts_.open(wanted.intf);
  groupIs(zone, wanted.intf, wanted.group);
  if (!wanted.terms.address.isUnset()) {
    candidateIs(zone, wanted);
  } else if (!wanted.terms.awaited) {
    candidateDel(zone);
  }
  counts_.countIs(wanted.intf, zone, wanted.count);
}

void ExplainedZones::zoneDel(const IpGenPrefix& zone) {
  const auto owner = owner_.find(zone);
  if (owner == owner_.end()) return;
  const IntfId intf = owner->second;
  owner_.erase(owner);
  counts_.countIs(intf, zone, 0);
  candidateDel(zone);
  groupIs(zone, intf, false);
}

void ExplainedZones::groupIs(const IpGenPrefix& zone, const IntfId& intf, bool claimed) {
  Status& status = *context_.status;
  if ((status.zoneGroup(zone) != nullptr) == claimed) return;
  if (claimed) {
    status.zoneGroupIs(zone, intf);
    BSR_TRACE(sm, 8, zone, " forms zone with interface ", intf);
  } else {
    status.zoneGroupDel(zone);
    BSR_TRACE(sm, 8, "Deleted zoneGroup ", zone);
  }
}

void ExplainedZones::candidateIs(const IpGenPrefix& zone, const Zone& wanted) {
  const bool isNew = !context_.status->cbsr(zone);
  const auto candidate = context_.status->newCbsr(zone);
  if (isNew && wanted.group) BSR_TRACE(sm, 8, "Created CBSR zone ", zone);
  if (isNew && !wanted.group) BSR_TRACE(sm, 8, "Created zone ", zone, " for CBSR");
  const auto write = [&](auto now, auto value, auto setter, const char* what) {
    if (now == value) return;
    (candidate.get()->*setter)(value);
    if (isNew) return;
    BSR_TRACE(sm, 4, what, " for Candidate BSR in Zone ", zone, " with IP ", candidate->address(),
              " changed to ", value);
  };
  const BsrCandidateSettings& settings = wanted.terms.settings;
  candidate->addressIs(wanted.terms.address);
  candidate->intfIdIs(wanted.intf);
  write(candidate->priority(), settings.priority, &BsrCandidate::priorityIs, "Priority");
  write(candidate->hashMaskLen(), settings.hashMaskLen, &BsrCandidate::hashMaskLenIs,
        "HashMaskLen");
  write(candidate->bsPeriod(), settings.interval, &BsrCandidate::bsPeriodIs, "Interval");
  if (!isNew) return;
  BSR_TRACE(sm, 4, "Created candidate BSR for zone ", zone, " with IP ", candidate->address(),
            ", Priority=", candidate->priority(), ", HashMaskLen=", candidate->hashMaskLen(),
            ", Interval=", candidate->bsPeriod());
}

void ExplainedZones::candidateDel(const IpGenPrefix& zone) {
  if (!context_.status->cbsr(zone)) return;
  context_.status->cbsrDel(zone);
  BSR_TRACE(sm, 4, "Deleted candidate BSR for zone ", zone);
}

// --- what an earlier run left -----------------------------------------------------------------

void ExplainedZones::removeExtra() const {
  Status& status = *context_.status;
  const auto candidates = status.cbsr().copy();
  for (const auto& [zone, candidate] : candidates) {
    const Sources& sources = claims_.zones.of(zone);
    if (!sources.empty() && explain(sources).intf == candidate->intfId()) continue;
    status.cbsrDel(zone);
    BSR_TRACE(sm, 8, "Deleting zone ", zone, " from CBSR status");
  }
}

// An owner that was left behind would be taken for a second one.
void ExplainedZones::removeExtraOwners() const {
  Status& status = *context_.status;
  const auto groups = status.zoneGroup();
  for (const auto& [zone, intf] : groups) {
    if (claims_.zones.of(zone).contains({intf, ""})) continue;
    status.zoneGroupDel(zone);
    BSR_TRACE(sm, 8, "Deleting zone group ", zone, " from status");
  }
  const auto lists = status.zoneAcl();
  for (const auto& [list, intf] : lists) {
    if (claims_.lists.of(list).contains(intf)) continue;
    status.zoneAclDel(list);
    BSR_TRACE(sm, 8, "Deleting zone acl ", list, " from status");
  }
}

}  // namespace Routing::Pim::Bsr
