#include <algorithm>
#include <nlohmann/json.hpp>

#include "agent/control/ControlRequest.h"
#include "agent/control/Explain.h"
#include "agent/control/RpAnswer.h"
#include "agent/control/ShowParts.h"
#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Agent {
namespace {

using Pim::Drop;
using Pim::DropCode;
using Pim::RpChoice;
using Pim::RpContender;

constexpr double longHoldTime = 3600.0;  // seconds; far beyond what routers advertise
constexpr double overdueShare = 0.5;     // of the hold time, in which three advertisements come

/// A learned RP, and whether this router is the BSR that holds it.
struct Learned {
  IpGenPrefix zone;
  std::shared_ptr<const Pim::RpEntry> entry;
  bool here = false;
};

std::vector<Learned> learned(const ShowInput& in, const IpGenAddr& rp) {
  std::vector<Learned> found;
  for (const auto& [zone, set] : in.instance.status->crpStatus()) {
    if (!set->status()) continue;
    for (const auto& [range, candidates] : set->status()->crpSet()) {
      if (const auto& entry = candidates->rp(rp)) found.push_back({zone, entry, isBsr(in, zone)});
    }
  }
  return found;
}

/// What is odd about an RP's advertisements, seen at the BSR; empty if nothing is.
std::string staleText(const ShowInput& in, const IpGenAddr& rp) {
  for (const Learned& each : learned(in, rp)) {
    if (!each.here) continue;
    const double hold = each.entry->holdTime().value();
    const double left = each.entry->expiryTime() - in.now;
    const double silent = hold - left;
    const double period = in.instance.status->cbsr(each.zone)->bsPeriod();
    const bool overdue = silent > overdueShare * hold || (hold > longHoldTime && silent > period);
    if (hold > 0 && overdue) {
      return "it was last advertised " + distanceText(silent) + " ago and stays for another " +
             distanceText(left) + " (hold time " + std::to_string(each.entry->holdTime().value()) +
             " s)";
    }
  }
  return {};
}

bool isOfAdvertisement(const Drop& drop) {
  return drop.code == DropCode::filtered || drop.code == DropCode::notBsr;
}

/// Of drops of advertisements: the last one that tells of an RP, of any if it is unset.
std::string advertisementDrop(const ShowInput& in, const IpGenAddr& rp) {
  const auto drops = dropsOf(in, [&](const Drop& drop) {
    return isOfAdvertisement(drop) && (rp.isUnset() || drop.subject == rp);
  });
  return drops.empty() ? "" : "its advertisement is dropped " + dropText(drops.back());
}

std::string idleRp(const ShowInput& in) {
  for (const IdleCandidate& idle : in.instance.idle) {
    if (!idle.bsr) return "this router's candidate RP does not run, " + idleText(idle);
  }
  return {};
}

std::string absenceText(const ShowInput& in, const RpChoice& choice) {
  if (choice.decidedBy != Pim::RpRule::notCovered) return std::string(choice.reason());
  if (in.instance.status->bootstrapRouter().empty()) {
    return "this router knows no BSR; 'explain bsr' tells why";
  }
  const std::string dropped = advertisementDrop(in, {});
  if (!dropped.empty()) return "no RP of a range that covers it is known; " + dropped;
  const std::string idle = idleRp(in);
  return idle.empty() ? "the BSR announces no RP of a range that covers it" : idle;
}

void explainChoice(const ShowInput& in, const IpGenAddr& group, const RpChoice& choice,
                   Explanation& out) {
  const std::string gap = gapOver(in, group, choice);
  if (choice.rp) {
    out.answer = "RP " + choice.rp->rp.text() + " serves group " + group.text() + ": " +
                 std::string(choice.reason());
    const std::string stale = staleText(in, choice.rp->rp);
    if (!stale.empty()) out.answer += ", but " + stale;
    if (!gap.empty()) out.answer += ", but " + gap;
    out.problem = !stale.empty() || !gap.empty();
    return;
  }
  out.answer =
      "No RP serves group " + group.text() + ": " + (gap.empty() ? absenceText(in, choice) : gap);
  out.problem = true;
}

/// Why an RP is no contender for a group.
std::string missingText(const ShowInput& in, const IpGenAddr& rp) {
  std::string dropped = advertisementDrop(in, rp);
  if (!dropped.empty()) return dropped;
  const auto entries = learned(in, rp);
  if (entries.empty()) {
    return in.instance.status->crp(rp)
               ? "this router advertises it, but the BSR does not announce it"
               : "no BSR announces it";
  }
  std::string ranges;
  for (const Learned& each : entries) {
    const auto* set = static_cast<const Pim::RpCandidateSet*>(each.entry->parent());
    if (set == nullptr) continue;
    ranges += (ranges.empty() ? "" : ", ") + set->prefix().text() + " of zone " + each.zone.text();
  }
  return "it stands for other groups or in a wider zone: " + ranges;
}

void explainWhyNot(const ShowInput& in, const IpGenAddr& group, const IpGenAddr& rp,
                   const RpChoice& choice, Explanation& out) {
  out.answer = "RP " + rp.text() + " does not serve group " + group.text() + ": ";
  for (const RpContender& contender : choice.contenders) {
    if (contender.mapping.rp != rp) continue;
    if (contender.lostBy == Pim::RpRule::won) {
      out.answer = "RP " + rp.text() + " does serve group " + group.text();
    } else {
      out.answer += outcomeText(contender, choice);
    }
    return;
  }
  out.answer += missingText(in, rp);
  out.problem = true;
}

void addFacts(const ShowInput& in, const IpGenAddr& group, const RpChoice& choice,
              Explanation& out) {
  for (const RpContender& contender : choice.contenders) {
    out.facts.emplace_back("RP " + contender.mapping.rp.text(),
                           contender.mapping.groupRange.text() + ", priority " +
                               std::to_string(contender.mapping.priority) + ", hash " +
                               std::to_string(contender.hash) + ": " +
                               outcomeText(contender, choice));
    if (out.facts.size() == lastOnes) break;
  }
  const std::string gap = gapOver(in, group, choice);
  if (!gap.empty()) out.facts.emplace_back("Missing", gap);
  for (const auto& [zone, bsr] : in.instance.status->bootstrapRouter()) {
    if (zone.contains(IpGenPrefix::host(group))) {
      out.facts.emplace_back("Zone " + zone.text(), "BSR " + bsr->ipAddr().text());
    }
  }
}

}  // namespace

Json explainRp(const ShowInput& in) {
  const IpGenAddr group = addressFromText(in.group, in.instance.af);
  const RpChoice choice = selectRp(group, Pim::rpMappings(*in.instance.rpCandidate));
  Explanation out;
  if (in.rp.empty()) {
    explainChoice(in, group, choice, out);
  } else {
    explainWhyNot(in, group, addressFromText(in.rp, in.instance.af), choice, out);
  }
  addFacts(in, group, choice, out);
  out.changes = eventsJson(in, lastOnes, [](const Event& event) {
    return event.kind == EventKind::rpSetChanged || event.kind == EventKind::foreignAdvertiser ||
           event.kind == EventKind::candidateRpStarted ||
           event.kind == EventKind::candidateRpStopped;
  });
  out.drops = dropsJson(in, dropsOf(in, isOfAdvertisement));
  return out.json();
}

}  // namespace Routing::Agent
