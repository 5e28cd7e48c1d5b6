#include "agent/state/StateJudge.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "agent/state/StateFault.h"

namespace Routing::Agent {
namespace {

using namespace Pim::Bsr;
using Pim::RpCandidateSet;
using Pim::RpEntry;

constexpr double longestHoldTime = 65535;

void require(bool holds, const char* fault) {
  if (!holds) throw StateFault(fault);
}

// --- what can be ------------------------------------------------------------------------------

/// Every value and key of a status, by itself.
class Values {
 public:
  Values(const Status& status, AddressFamily af, double now)
      : status_(status), af_(af), now_(now) {}

  void judge() const {
    require(status_.af() == af_ && status_.counters() != nullptr, "has no instance of its family");
    for (const auto& [zone, bsr] : status_.bootstrapRouter()) judge(*bsr);
    for (const auto& [zone, candidate] : status_.cbsr()) judge(*candidate);
    for (const auto& [address, candidate] : status_.crp()) judge(*candidate);
    for (const auto& [zone, rpSets] : status_.crpStatus()) judge(*rpSets);
    for (const auto& [prefix, border] : status_.bsBorder()) requireGroup(prefix);
    for (const auto& [zone, intf] : status_.zoneGroup()) requireGroup(zone);
    for (const IpGenPrefix& prefix : status_.crpPermit()) requireFamily(prefix.af());
  }

 private:
  void judge(const ElectedBsrStatus& bsr) const {
    requireGroup(bsr.zone());
    requireFamilyIfSet(bsr.ipAddr());
    require(bsr.priority() <= priorityUnknown && bsr.hashMaskLen() <= hashMaskLenUnknown,
            "has a BSR out of bounds");
    requirePast(bsr.setupTime());
    require(std::isfinite(bsr.expiryTime()) && std::isfinite(bsr.expires()) &&
                std::isfinite(bsr.upTime()),
            "has no instant in a BSR");
  }
  void judge(const BsrCandidate& candidate) const {
    requireGroup(candidate.zone());
    requireFamilyIfSet(candidate.address());
    require(
        candidate.priority() <= priorityUnknown && candidate.hashMaskLen() <= hashMaskLenUnknown,
        "has a candidate BSR out of bounds");
  }
  void judge(const Pim::Bsr::RpCandidate& candidate) const {
    requireFamily(candidate.address().af());
    for (const IpGenPrefix& prefix : candidate.prefixSet()) requireGroup(prefix);
    for (const auto& [prefix, options] : candidate.prefixOptions()) requireGroup(prefix);
  }
  void judge(const PimBsrRpCandidateStatus& zone) const {
    requireGroup(zone.zone());
    require(zone.status() != nullptr, "has a zone without RP set");
    for (const auto& [prefix, set] : zone.status()->crpSet()) {
      requireGroup(prefix);
      for (const auto& [address, rp] : set->rp()) judge(*rp);
    }
  }
  void judge(const RpEntry& rp) const {
    requireFamily(rp.address().af());
    require(rp.priority().value() < Pim::rpPriorityUnknown, "has an RP without priority");
    requirePast(rp.setupTime());
    require(std::isfinite(rp.expiryTime()), "has an RP that never expires");
  }

  void requireFamily(AddressFamily af) const {
    require(af == af_, "has addresses of another family");
  }
  void requireFamilyIfSet(const IpGenAddr& address) const {
    if (!address.isUnset()) requireFamily(address.af());
  }
  void requireGroup(const IpGenPrefix& prefix) const {
    require(IpGenPrefix::multicast(af_).contains(prefix), "has groups that are none of its family");
  }
  void requirePast(double instant) const {
    require(instant >= 0 && instant <= now_, "tells of times to come");
  }

  const Status& status_;
  const AddressFamily af_;
  const double now_;
};

void requireWithin(const Status& status, const PimBsrLimits& limits) {
  std::size_t groups = 0;
  std::size_t rps = 0;
  for (const auto& [zone, rpSets] : status.crpStatus()) {
    groups += rpSets->status()->crpSet().size();
    for (const auto& [prefix, set] : rpSets->status()->crpSet()) rps += set->rp().size();
  }
  const std::size_t zones = std::size_t{limits.maxZones()} + status.cbsr().size() + 1;
  require(status.bootstrapRouter().size() <= zones && groups <= limits.maxGroups() &&
              rps <= limits.maxRps(),
          "holds more than the limits allow");
}

// --- what has run out -------------------------------------------------------------------------

/// How long the others follow an elected candidate that has fallen silent: its last message left
/// no earlier than a period before the next one is due.
double endOfOffice(const Status& status, const BsrCandidate& candidate,
                   const ElectedBsrStatus& bsr) {
  return bsr.expiryTime() - candidate.bsPeriod() +
         bsTimeoutInForce(status.bsTimeout(), candidate.bsPeriod());
}

bool complete(const BsrCandidate& candidate) {
  return !candidate.address().isUnset() && candidate.priority() < priorityUnknown &&
         candidate.hashMaskLen() < hashMaskLenUnknown && candidate.bsPeriod() != bsPeriodUnknown;
}

bool inOffice(const Status& status, const BsrCandidate& candidate, double now) {
  const auto& bsr = status.bootstrapRouter(candidate.zone());
  return candidate.elected() && complete(candidate) && bsr != nullptr &&
         bsr->ipAddr() == candidate.address() && now < endOfOffice(status, candidate, *bsr);
}

void endOffices(Status& status, double now) {
  for (const auto& [zone, candidate] : status.cbsr()) {
    if (inOffice(status, *candidate, now)) continue;
    candidate->electedIs(false);
    const auto bsr = status.bootstrapRouter(zone);
    if (bsr != nullptr && bsr->ipAddr() == candidate->address()) status.bootstrapRouterDel(zone);
  }
}

void forgetSilent(Status& status, double now) {
  std::vector<IpGenPrefix> silent;
  for (const auto& [zone, bsr] : status.bootstrapRouter()) {
    const auto& candidate = status.cbsr(zone);
    if (candidate != nullptr && candidate->elected()) continue;
    if (bsr->expiryTime() <= now) silent.push_back(zone);
  }
  for (const IpGenPrefix& zone : silent) status.bootstrapRouterDel(zone);
}

void expireRps(RpCandidateSet& set, double now) {
  std::vector<IpGenAddr> expired;
  for (const auto& [address, rp] : set.rp()) {
    const double holdTime = rp->holdTime().value() > 0 ? rp->holdTime().value() : longestHoldTime;
    rp->expiryTimeIs(std::min(rp->expiryTime(), now + holdTime));
    if (rp->expiryTime() <= now) expired.push_back(address);
  }
  for (const IpGenAddr& address : expired) set.rpDel(address);
}

/// Ranges without RPs stay only where the BSR that named them is followed.
void expireRpSets(Status& status, const IpGenPrefix& zone, double now) {
  const auto rpSets = status.crpStatus(zone)->status();
  const auto& candidate = status.cbsr(zone);
  const bool followed =
      status.bootstrapRouter(zone) != nullptr && (candidate == nullptr || !candidate->elected());
  std::vector<IpGenPrefix> empty;
  for (const auto& [prefix, set] : rpSets->crpSet()) {
    const bool named = set->rp().empty() && followed;
    expireRps(*set, now);
    if (set->rp().empty() && !named) empty.push_back(prefix);
  }
  for (const IpGenPrefix& prefix : empty) rpSets->crpSetDel(prefix);
  if (rpSets->crpSet().empty()) status.crpStatusDel(IpGenPrefix(zone));
}

}  // namespace

void judgeState(Status& status, AddressFamily af, double now, const PimBsrLimits& limits) {
  Values(status, af, now).judge();
  requireWithin(status, limits);
  endOffices(status, now);
  forgetSilent(status, now);
  std::vector<IpGenPrefix> zones;
  for (const auto& entry : status.crpStatus()) zones.push_back(entry.first);
  for (const IpGenPrefix& zone : zones) expireRpSets(status, zone, now);
}

}  // namespace Routing::Agent
