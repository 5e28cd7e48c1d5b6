#include "bsr/engine/RpSets.h"

#include <utility>

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

RpSets::RpSets(std::shared_ptr<Status> bsrStatus, std::shared_ptr<PimBsrLimits> limits,
               const RpSetTotals& totals)
    : bsrStatus_(std::move(bsrStatus)), limits_(std::move(limits)), totals_(totals) {}

const std::shared_ptr<RpCandidateStatus>& RpSets::setsOf(const IpGenPrefix& zone) const {
  static const std::shared_ptr<RpCandidateStatus> none;
  const auto& zoneStatus = bsrStatus_->crpStatus(zone);
  return zoneStatus ? zoneStatus->status() : none;
}

std::shared_ptr<RpCandidateSet> RpSets::find(const IpGenPrefix& zone,
                                             const IpGenPrefix& prefix) const {
  const auto& sets = setsOf(zone);
  return sets ? sets->crpSet(prefix) : nullptr;
}

std::vector<std::shared_ptr<RpCandidateSet>> RpSets::ofZone(const IpGenPrefix& zone) const {
  std::vector<std::shared_ptr<RpCandidateSet>> sets;
  if (const auto& all = setsOf(zone)) {
    for (const auto& [prefix, rpSet] : all->crpSet()) sets.push_back(rpSet);
  }
  return sets;
}

bool RpSets::roomForSet(const IpGenPrefix& zone, const IpGenPrefix& prefix) {
  if (totals_.groups < limits_->maxGroups()) return true;
  limits_->refusedGroupsInc();
  BSR_TRACE(sm, 1, "No room for a set for prefix ", prefix, " in zone ", zone, " besides ",
            totals_.groups, " sets");
  return false;
}

bool RpSets::roomForRp(const IpGenPrefix& prefix, const IpGenAddr& rp) {
  if (totals_.rps < limits_->maxRps()) return true;
  limits_->refusedRpsInc();
  BSR_TRACE(sm, 1, "No room for RP ", rp, " of prefix ", prefix, " besides ", totals_.rps, " RPs");
  return false;
}

std::shared_ptr<RpCandidateSet> RpSets::create(const IpGenPrefix& zone, const IpGenPrefix& prefix) {
  const auto status = bsrStatus_->newCrpStatus(zone)->newStatus(VrfName{});
  status->rpSetTypeIs(RpSetType::bsr);
  return status->newCrpSet(prefix);
}

void RpSets::forgetEmpty(const IpGenPrefix& zone) {
  for (const auto& rpSet : ofZone(zone)) {
    const auto zoneStatus = bsrStatus_->crpStatus(zone);
    const auto status = zoneStatus ? zoneStatus->status() : nullptr;
    if (status && rpSet->rp().empty()) status->crpSetDel(rpSet->prefix());
  }
}

}  // namespace Routing::Pim::Bsr
