#include "agent/router/IdleCandidates.h"

#include <algorithm>

namespace Routing::Agent {
namespace {

template <class Candidates>
bool runsOn(const Candidates& candidates, const std::string& intf) {
  return std::any_of(candidates.begin(), candidates.end(),
                     [&](const auto& entry) { return entry.second->intfId().text() == intf; });
}

IdleReason reasonOf(const std::string& intf, const InterfaceTable& interfaces,
                    const Pim::Bsr::Status& status) {
  const Interface* interface = interfaces.interface(IntfId(intf));
  if (interface == nullptr) return IdleReason::noInterface;
  if (interface->vrf != status.vrfName()) return IdleReason::otherVrf;
  if (!interface->link.up) return IdleReason::interfaceDown;
  if (sourceAddress(*interface, status.af()).isUnset()) return IdleReason::noAddress;
  return IdleReason::nothingClaimed;
}

/// Whether the file gives a candidate anything by prefix. If so, and it has its address and yet
/// does not run, another interface has what it asks for.
bool claims(const BsrInterfaceSettings& candidate) {
  return !candidate.zones.empty();
}
bool claims(const RpInterfaceSettings& candidate) {
  return !candidate.ranges.empty();
}

template <class Configured, class Running>
void add(std::vector<IdleCandidate>& idle, bool bsr, const Configured& configured,
         const Running& running, const InterfaceTable& interfaces, const Pim::Bsr::Status& status) {
  for (const auto& [intf, candidate] : configured) {
    if (runsOn(running, intf)) continue;
    IdleReason reason = reasonOf(intf, interfaces, status);
    if (reason == IdleReason::nothingClaimed && claims(candidate)) {
      reason = IdleReason::claimedElsewhere;
    }
    idle.push_back({bsr, intf, reason});
  }
}

}  // namespace

std::vector<IdleCandidate> idleCandidates(const FamilySettings& settings,
                                          const InterfaceTable& interfaces,
                                          const Pim::Bsr::Status& status) {
  std::vector<IdleCandidate> idle;
  add(idle, true, settings.bsrCandidates, status.cbsr(), interfaces, status);
  add(idle, false, settings.rpCandidates, status.crp(), interfaces, status);
  return idle;
}

}  // namespace Routing::Agent
