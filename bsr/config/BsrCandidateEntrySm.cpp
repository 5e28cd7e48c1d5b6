#include "bsr/config/BsrCandidateEntrySm.h"

#include "bsr/config/BsrCandidateConfigSm.h"
#include "bsr/config/BsrConfigAcls.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

const VrfName& BsrCandidateEntrySm::vrfName() const {
  return intfSm_.context().vrfName();
}

bool BsrCandidateEntrySm::skip() const {
  if (initialized_ || !intfSm_.initialized()) return true;
  if (settings_.usable()) return false;
  BSR_TRACE(sm, 8, "Skipping initialization since priority or hashmask lengths are not set");
  return true;
}

// The setters below write to each candidate that shows this entry's settings.
void BsrCandidateEntrySm::handlePriority(std::uint16_t priority) {
  BSR_TRACE(sm, 9, "");
  settings_.priority = priority;
  if (!initialized_) return handleInitialize();
  for (const IpGenPrefix& zone : zones()) {
    const auto candidate = intfSm_.shownBy(*this, zone);
    if (!candidate || candidate->priority() == priority) continue;
    candidate->priorityIs(priority);
    BSR_TRACE(sm, 4, "Priority for Candidate BSR in Zone ", zone, " with IP ", candidate->address(),
              " changed to ", priority);
  }
}

void BsrCandidateEntrySm::handleHashMaskLen(std::uint32_t hashMaskLen) {
  BSR_TRACE(sm, 9, "");
  settings_.hashMaskLen = hashMaskLen;
  if (!initialized_) return handleInitialize();
  for (const IpGenPrefix& zone : zones()) {
    const auto candidate = intfSm_.shownBy(*this, zone);
    if (!candidate || candidate->hashMaskLen() == hashMaskLen) continue;
    candidate->hashMaskLenIs(hashMaskLen);
    BSR_TRACE(sm, 4, "HashMaskLen for Candidate BSR in Zone ", zone, " with IP ",
              candidate->address(), " changed to ", hashMaskLen);
  }
}

void BsrCandidateEntrySm::handleInterval(std::uint32_t interval) {
  BSR_TRACE(sm, 9, "");
  settings_.interval = interval;
  if (!initialized_) return handleInitialize();
  for (const IpGenPrefix& zone : zones()) {
    const auto candidate = intfSm_.shownBy(*this, zone);
    if (!candidate || candidate->bsPeriod() == interval) continue;
    candidate->bsPeriodIs(interval);
    BSR_TRACE(sm, 4, "Interval for Candidate BSR in Zone ", zone, " with IP ", candidate->address(),
              " changed to ", interval);
  }
}

// --- a group ----------------------------------------------------------------------------------

std::set<IpGenPrefix> BsrCandidateGroupSm::zones() const {
  return initialized_ ? std::set<IpGenPrefix>{group_} : std::set<IpGenPrefix>{};
}

void BsrCandidateGroupSm::handleInitialize() {
  BSR_TRACE(sm, 9, "");
  if (skip()) return;
  Status& status = *intfSm_.context().status;
  intfSm_.ownerCheck(status.zoneGroup(group_));
  intfSm_.zoneCheck(group_);
  status.zoneGroupIs(group_, intfSm_.intf());
  BSR_TRACE(sm, 8, group_, " forms zone with interface ", intfSm_.intf());
  initialized_ = true;
  doGroupAdd();
}

void BsrCandidateGroupSm::doGroupAdd() {
  intfSm_.countIs(group_);
}

void BsrCandidateGroupSm::doGroupRemove() {
  initialized_ = false;
  intfSm_.countDel(group_);
}

// An entry that never started may have left its claim behind from an earlier run.
void BsrCandidateGroupSm::handleDel() {
  BSR_TRACE(sm, 9, "");
  unwatch();
  if (initialized_) doGroupRemove();
  Status& status = *intfSm_.context().status;
  const IntfId* owner = status.zoneGroup(group_);
  if (owner == nullptr || *owner != intfSm_.intf()) return;
  status.zoneGroupDel(group_);
  BSR_TRACE(sm, 8, "Deleted zoneGroup ", group_);
}

// --- an access list ---------------------------------------------------------------------------

void BsrCandidateAclSm::handleInitialize() {
  BSR_TRACE(sm, 9, "");
  if (skip()) return;
  Status& status = *intfSm_.context().status;
  intfSm_.ownerCheck(status.zoneAcl(acl_));
  const auto acl = intfSm_.context().acls->expanded(acl_);
  for (const IpGenPrefix& zone : acl->grpPrefix()) intfSm_.zoneCheck(zone);
  status.zoneAclIs(acl_, intfSm_.intf());
  BSR_TRACE(sm, 8, "Acl ", acl_, " forms zone with interface ", intfSm_.intf());
  initialized_ = true;
  doAclAdd();
}

void BsrCandidateAclSm::doAclAdd() {
  const auto acl = intfSm_.context().acls->expanded(acl_);
  acl->cbsrIntfIs(intfSm_.intf(), true);
  BSR_TRACE(sm, 8, "Added interface ", intfSm_.intf(), " to BsrConfigAcl object for acl ", acl_);
  const auto zones = acl->grpPrefix();
  for (const IpGenPrefix& zone : zones) doAclPrefixActivate(zone);
}

void BsrCandidateAclSm::doAclRemove() {
  initialized_ = false;
  const auto zones = zones_;
  for (const IpGenPrefix& zone : zones) doAclPrefixDeactivate(zone);
  intfSm_.context().state->bsrConfigAcl(acl_)->cbsrIntfDel(intfSm_.intf());
  BSR_TRACE(sm, 8, "Deleted interface ", intfSm_.intf(), "from BsrConfigAcl object for acl ", acl_);
  intfSm_.context().acls->releaseUnused(acl_);
}

void BsrCandidateAclSm::doAclPrefixActivate(const IpGenPrefix& zone) {
  if (!initialized_ || zones_.contains(zone)) return;
  intfSm_.zoneCheck(zone);
  zones_.insert(zone);
  BSR_TRACE(sm, 8, "Writing to Status for cbsr in zone ", zone, " with key  ", intfSm_.intf());
  intfSm_.countIs(zone);
}

void BsrCandidateAclSm::doAclPrefixDeactivate(const IpGenPrefix& zone) {
  if (zones_.erase(zone) == 0) return;
  BSR_TRACE(sm, 8, "Removing CBSR with key ", intfSm_.intf(), " for zone ", zone);
  intfSm_.countDel(zone);
}

void BsrCandidateAclSm::handleDel() {
  BSR_TRACE(sm, 9, "");
  unwatch();
  if (initialized_) doAclRemove();
  Status& status = *intfSm_.context().status;
  const IntfId* owner = status.zoneAcl(acl_);
  if (owner == nullptr || *owner != intfSm_.intf()) return;
  status.zoneAclDel(acl_);
  BSR_TRACE(sm, 8, "Deleted zoneAcl for acl ", acl_);
}

}  // namespace Routing::Pim::Bsr
