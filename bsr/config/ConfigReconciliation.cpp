#include "bsr/config/ConfigReconciliation.h"

#include <algorithm>

#include "bsr/config/BsrCandidateEntrySm.h"
#include "bsr/config/BsrConfigAcls.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {
namespace {

template <class Map>
std::vector<typename Map::key_type> keysOf(const Map& map) {
  std::vector<typename Map::key_type> keys;
  keys.reserve(map.size());
  for (const auto& entry : map) keys.push_back(entry.first);
  return keys;
}

}  // namespace

bool ConfigReconciliation::isRestart(const Status& status) {
  return !status.bsBorder().empty() || !status.cbsr().empty() || !status.crp().empty() ||
         !status.crpPermit().empty() || !status.zoneGroup().empty() || !status.zoneAcl().empty();
}

// --- what the configuration explains ----------------------------------------------------------

void ConfigReconciliation::doBuildBsrConfigAcl() {
  BSR_TRACE(sm, 9, "");
  explainBorders();
  explainBsrCandidates();
  explainRpCandidates();
  explainFilter();
}

/// An interface whose address may still be to come keeps what it has.
bool ConfigReconciliation::usable(const IntfId& intf) const {
  return !context_.addressOf(intf).isUnset() || !context_.sourceIntfSm->initialDumpDone();
}

void ConfigReconciliation::explainBorders() {
  for (const auto& [name, intfConfig] : vrfIntfConfig_.intfConfig()) {
    Prefixes& explained = border_[IntfId(name)];
    explained = intfConfig->bsrBorderGrp();
    for (const std::string& acl : intfConfig->bsrBorderAcl()) {
      Prefixes permitted =
          context_.acls->expanded(acl, "Created bsrConfigAcl object for acl ")->grpPrefix();
      explained.merge(permitted);
    }
  }
}

void ConfigReconciliation::explainBsrCandidates() {
  for (const auto& [intf, candidate] : config_.bsrCandidateConfig()) {
    Prefixes explained;
    for (const auto& [group, entry] : candidate->group()) {
      if (settingsOf(*entry).usable()) explained.insert(group);
    }
    for (const auto& [name, entry] : candidate->acl()) {
      Prefixes permitted =
          context_.acls->expanded(name, "Created bsrConfigAcl object for acl ")->grpPrefix();
      if (settingsOf(*entry).usable()) explained.merge(permitted);
    }
    if (usable(intf)) cbsr_[intf] = explained;
  }
}

void ConfigReconciliation::explainRpCandidates() {
  for (const auto& [intf, candidate] : config_.rpCandidateConfig()) {
    bool serves = !candidate->groupRange().empty();
    for (const std::string& name : candidate->acl()) {
      const auto acl = context_.acls->expanded(name, "Created bsrConfigAcl object for acl ");
      serves = serves || !acl->grpPrefix().empty();
    }
    if (serves && usable(intf)) crp_.insert(intf);
  }
}

void ConfigReconciliation::explainFilter() {
  for (const std::string& name : config_.crpFilterAcl()) {
    Prefixes permitted =
        context_.acls->expanded(name, "Created bsrConfigAcl object for acl  ")->prefix();
    crpPermit_.merge(permitted);
  }
  if (crpPermit_.empty()) crpPermit_.insert(IpGenPrefix::zero(context_.status->af()));
}

// --- what it does not -------------------------------------------------------------------------

void ConfigReconciliation::doRemoveExtraStatusEntries() const {
  BSR_TRACE(sm, 9, "");
  removeBorders();
  removeCbsr();
  removeCrp();
  removeCrpPermit();
  removeClaims();
}

void ConfigReconciliation::removeBorders() const {
  Status& status = *context_.status;
  for (const IpGenPrefix& prefix : keysOf(status.bsBorder())) {
    const auto border = status.bsBorder(prefix);
    const auto intfs = border->intfId();
    for (const IntfId& intf : intfs) {
      const auto explained = border_.find(intf);
      if (explained != border_.end() && explained->second.contains(prefix)) continue;
      border->intfIdDel(intf);
      BSR_TRACE(sm, 8, "Deleted Interface ", intf, " from prefix ", prefix, " in status");
    }
    if (!border->intfId().empty()) continue;
    status.bsBorderDel(prefix);
    BSR_TRACE(sm, 8, "Deleting prefix ", prefix, " from status");
  }
}

void ConfigReconciliation::removeCbsr() const {
  Status& status = *context_.status;
  for (const IpGenPrefix& zone : keysOf(status.cbsr())) {
    const auto explained = cbsr_.find(status.cbsr(zone)->intfId());
    if (explained != cbsr_.end() && explained->second.contains(zone)) continue;
    status.cbsrDel(zone);
    BSR_TRACE(sm, 8, "Deleting zone ", zone, " from CBSR status");
  }
}

bool ConfigReconciliation::rpExplained(const RpCandidate& entry) const {
  const bool some = std::any_of(crp_.begin(), crp_.end(), [&](const IntfId& intf) {
    return context_.addressOf(intf) == entry.address();
  });
  return some || (crp_.contains(entry.intfId()) && context_.addressOf(entry.intfId()).isUnset());
}

void ConfigReconciliation::removeCrp() const {
  Status& status = *context_.status;
  for (const IpGenAddr& address : keysOf(status.crp())) {
    if (rpExplained(*status.crp(address))) continue;
    status.crpDel(address);
    BSR_TRACE(sm, 8, "Deleting CRP ", address, " from status");
  }
}

// The prefixes that are to stay come first: the set is never empty.
void ConfigReconciliation::removeCrpPermit() const {
  Status& status = *context_.status;
  for (const IpGenPrefix& prefix : crpPermit_) status.crpPermitIs(prefix, true);
  const auto permitted = status.crpPermit();
  for (const IpGenPrefix& prefix : permitted) {
    if (crpPermit_.contains(prefix)) continue;
    status.crpPermitDel(prefix);
    BSR_TRACE(sm, 8, "Deleting CRP Permit Prefix ", prefix, " from status");
  }
}

// A claim that was left behind would be taken for that of a second interface.
void ConfigReconciliation::removeClaims() const {
  Status& status = *context_.status;
  const auto claimed = [this](const IntfId& intf, const auto& entryOf) {
    const auto& candidate = config_.bsrCandidateConfig(intf);
    if (!candidate) return false;
    const auto& entry = entryOf(*candidate);
    return entry && settingsOf(*entry).usable();
  };
  const auto groups = status.zoneGroup();
  for (const auto& [zone, intf] : groups) {
    if (claimed(intf, [&z = zone](const auto& c) { return c.group(z); })) continue;
    status.zoneGroupDel(zone);
    BSR_TRACE(sm, 8, "Deleting zone group ", zone, " from status");
  }
  const auto acls = status.zoneAcl();
  for (const auto& [acl, intf] : acls) {
    if (claimed(intf, [&a = acl](const auto& c) { return c.acl(a); })) continue;
    status.zoneAclDel(acl);
    BSR_TRACE(sm, 8, "Deleting zone acl ", acl, " from status");
  }
}

}  // namespace Routing::Pim::Bsr
