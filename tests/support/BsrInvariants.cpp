#include "tests/support/BsrInvariants.h"

#include <map>
#include <set>
#include <tuple>

namespace Routing::TestKit {
namespace {

using Pim::RpCandidateStatus;

/// All that PIM is to know of the RPs of a range.
using Range =
    std::map<IpGenAddr, std::tuple<Pim::PimMode, unsigned, unsigned, unsigned, double, double>>;

Range rangeOf(const RpCandidateStatus& status, const IpGenPrefix& prefix) {
  Range range;
  const auto& set = status.crpSet(prefix);
  if (!set) return range;
  for (const auto& [address, rp] : set->rp()) {
    range[address] = {
        rp->mode(),      rp->priority().value(), rp->holdTime().value(), rp->hashMaskLen().value(),
        rp->setupTime(), rp->expiryTime()};
  }
  return range;
}

Range rangeOf(const BsrRouter& router, const IpGenPrefix& zone, const IpGenPrefix& prefix) {
  const auto& entry = router.status->crpStatus(zone);
  return entry && entry->status() ? rangeOf(*entry->status(), prefix) : Range{};
}

/// The longest zone that has a BSR and contains the prefix; none if there is none.
IpGenPrefix zoneOf(const BsrRouter& router, const IpGenPrefix& prefix) {
  IpGenPrefix best;
  for (const auto& entry : router.status->bootstrapRouter()) {
    const bool longer = best.isNone() || entry.first.length() > best.length();
    if (entry.first.contains(prefix) && longer) best = entry.first;
  }
  return best;
}

std::string expiredIn(const RpCandidateStatus& status, double now, const std::string& where) {
  for (const auto& [prefix, set] : status.crpSet()) {
    for (const auto& [address, rp] : set->rp()) {
      if (rp->expiryTime() <= now) {
        return "RP " + address.text() + " of " + prefix.text() + " outlives its hold time in " +
               where;
      }
    }
  }
  return {};
}

std::string holdTimeFault(const BsrRouter& router) {
  std::string fault = expiredIn(*router.pimRpStatus, router.wheel.now(), "PIM's view");
  for (const auto& [zone, entry] : router.status->crpStatus()) {
    if (!fault.empty() || !entry->status()) continue;
    fault = expiredIn(*entry->status(), router.wheel.now(), "zone " + zone.text());
  }
  return fault;
}

/// Whether PIM's view of a range may be what a zone without BSR left behind.
bool leftBehind(const BsrRouter& router, const IpGenPrefix& prefix, const IpGenPrefix& match,
                const Range& seen) {
  for (const auto& [zone, entry] : router.status->crpStatus()) {
    const bool silent = !router.status->bootstrapRouter(zone);
    if (silent && zone.contains(prefix) && !zone.contains(match) &&
        rangeOf(router, zone, prefix) == seen) {
      return true;
    }
  }
  return false;
}

std::string mirrorFault(const BsrRouter& router) {
  std::set<IpGenPrefix> prefixes;
  for (const auto& [prefix, set] : router.pimRpStatus->crpSet()) {
    prefixes.insert(prefix);
    if (set->rp().empty()) return "PIM sees the empty range " + prefix.text();
  }
  for (const auto& [zone, entry] : router.status->crpStatus()) {
    if (!entry->status()) continue;
    for (const auto& [prefix, set] : entry->status()->crpSet()) prefixes.insert(prefix);
  }
  for (const IpGenPrefix& prefix : prefixes) {
    const IpGenPrefix match = zoneOf(router, prefix);
    const Range seen = rangeOf(*router.pimRpStatus, prefix);
    const Range due = rangeOf(router, match, prefix);
    const bool good =
        due.empty() ? seen.empty() || leftBehind(router, prefix, match, seen) : seen == due;
    if (!good) return "PIM's view of " + prefix.text() + " is not that of " + match.text();
  }
  return {};
}

std::string machineFault(BsrRouter& router) {
  const auto& engine = router.engine();
  std::size_t scoped = 0;
  for (const auto& [zone, machine] : engine.nonCandidateSm()) {
    if (zone != engine.globalOrNonScopeZone()) ++scoped;
    if (engine.candidateSm(zone)) return "two machines for " + zone.text();
    const auto& record = router.status->bootstrapRouter(zone);
    const bool follows = machine->state() == Bsr::BsrNonCandidateState::acceptPreferred;
    if (follows != (record != nullptr)) return "state and record of " + zone.text() + " differ";
    if (follows && machine->bsExpiry() != record->expiryTime()) return "BS timer of " + zone.text();
    const bool ages = !follows && zone != engine.globalOrNonScopeZone();
    if (ages != (machine->szExpiry() != never)) return "SZ timer of " + zone.text();
  }
  if (scoped > router.limits->maxZones()) return "too many zones";
  for (const auto& [zone, bsm] : router.instance->bsmIntake().lastBsm()) {
    if (!engine.nonCandidateSm(zone) && !engine.candidateSm(zone)) {
      return "a last message of " + zone.text() + " is left behind";
    }
  }
  return {};
}

std::string trieFault(BsrRouter& router) {
  std::set<IpGenPrefix> zones, routes;
  for (const auto& entry : router.status->bootstrapRouter()) zones.insert(entry.first);
  router.engine().bsrTrie()->forEachRoute([&](const IpGenPrefix& zone) { routes.insert(zone); });
  return zones == routes ? "" : "the trie is not the set of zones that have a BSR";
}

std::string limitFault(const BsrRouter& router) {
  std::size_t groups = 0, rps = 0;
  for (const auto& [zone, entry] : router.status->crpStatus()) {
    if (!entry->status()) continue;
    groups += entry->status()->crpSet().size();
    for (const auto& [prefix, set] : entry->status()->crpSet()) rps += set->rp().size();
  }
  if (groups > router.limits->maxGroups()) return "too many ranges";
  return rps > router.limits->maxRps() ? "too many RPs" : "";
}

std::string counterFault(const BsrRouter& router) {
  const Bsr::PimBsrCounters& c = router.counters();
  const Bsr::PimBsrErrorCounters& e = c.errCounters();
  if (c.rxBsm() != c.rxBsmSuccess() + c.rxBsmError()) return "a message is not counted once";
  if (c.tx() != c.txSuccess() + c.txError()) return "a transmission is not counted once";
  const std::uint32_t reasons = e.rxFilter() + e.rxNbrRpfCheck() + e.rxNoForwardBsm() +
                                e.rxUnicastBsm() + e.rxScopeMismatch() + e.rxInvalid();
  return c.rxError() == reasons ? "" : "errors and their reasons differ";
}

}  // namespace

std::string bsrFault(BsrRouter& router) {
  for (const std::string& fault : {holdTimeFault(router), mirrorFault(router), machineFault(router),
                                   trieFault(router), limitFault(router), counterFault(router)}) {
    if (!fault.empty()) return fault;
  }
  return {};
}

}  // namespace Routing::TestKit
