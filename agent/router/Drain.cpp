#include "agent/router/Drain.h"

namespace Routing::Agent {
namespace {

/// Null if the instance runs no longer.
const InstanceView* find(const std::vector<InstanceView>& instances, const VrfName& vrf,
                         AddressFamily af) {
  const auto found = std::find_if(
      instances.begin(), instances.end(),
      [&](const InstanceView& instance) { return instance.vrf == vrf && instance.af == af; });
  return found == instances.end() ? nullptr : &*found;
}

/// The BSR of a zone, unset if none is known or it is `own`.
IpGenAddr otherBsr(const InstanceView& instance, const IpGenPrefix& zone, const IpGenAddr& own) {
  const auto& bsr = instance.status->bootstrapRouter(zone);
  return bsr && bsr->ipAddr() != own ? bsr->ipAddr() : IpGenAddr();
}

bool holds(const Pim::RpCandidateStatus& rpSets, const IpGenAddr& rp) {
  const auto& sets = rpSets.crpSet();
  return std::any_of(sets.begin(), sets.end(),
                     [&rp](const auto& entry) { return entry.second->rp(rp) != nullptr; });
}

bool holds(const InstanceView& instance, const IpGenAddr& rp) {
  const auto& zones = instance.status->crpStatus();
  return holds(*instance.rpCandidate, rp) ||
         std::any_of(zones.begin(), zones.end(), [&rp](const auto& entry) {
           return entry.second->status() && holds(*entry.second->status(), rp);
         });
}

}  // namespace

void Drain::add(const Candidacies& kinds, const std::vector<InstanceView>& instances) {
  for (const InstanceView& instance : instances) {
    if (kinds.bsr && !drained().bsr) noteZones(instance);
    if (kinds.rp && !drained().rp) noteRps(instance);
  }
  noted_.drained.bsr |= kinds.bsr;
  noted_.drained.rp |= kinds.rp;
}

void Drain::noteZones(const InstanceView& instance) {
  for (const auto& [zone, candidate] : instance.status->cbsr()) {
    if (!candidate->elected()) continue;
    noted_.zones.push_back({instance.vrf, instance.af, zone, candidate->address()});
  }
}

void Drain::noteRps(const InstanceView& instance) {
  for (const auto& [address, candidate] : instance.status->crp()) {
    noted_.rps.push_back({instance.vrf, instance.af, address});
  }
}

DrainReport Drain::report(const std::vector<InstanceView>& instances) const {
  DrainReport report = noted_;
  for (DrainReport::Zone& zone : report.zones) {
    const InstanceView* instance = find(instances, zone.vrf, zone.af);
    zone.bsr = instance == nullptr ? IpGenAddr() : otherBsr(*instance, zone.zone, zone.bsr);
  }
  for (DrainReport::Rp& rp : report.rps) {
    const InstanceView* instance = find(instances, rp.vrf, rp.af);
    rp.withdrawn = instance == nullptr || !holds(*instance, rp.address);
  }
  return report;
}

}  // namespace Routing::Agent
