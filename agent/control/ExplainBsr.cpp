#include <nlohmann/json.hpp>

#include "agent/control/ControlRequest.h"
#include "agent/control/Explain.h"
#include "agent/control/ShowParts.h"
#include "agent/control/ZoneMachine.h"

namespace Routing::Agent {
namespace {

using Pim::Drop;
using Pim::DropCode;
using Pim::Bsr::BsrCandidateState;
using Pim::Bsr::ElectedBsrStatus;
using Pim::Bsr::ZoneSm;

/// All that an answer about a zone rests on.
struct Zone {
  IpGenPrefix prefix;
  std::shared_ptr<const ElectedBsrStatus> bsr;  // null: none is known
  std::shared_ptr<const Pim::Bsr::BsrCandidate> candidate;
  std::shared_ptr<const ZoneSm> machine;
  std::vector<Drop> drops;  // of its messages

  bool local() const { return candidate && candidate->elected(); }
};

IpGenPrefix prefixOf(const ShowInput& in) {
  const AddressFamily af = in.instance.af;
  return in.zone.empty() ? IpGenPrefix::multicast(af) : zoneFromText(in.zone, af);
}

Zone zoneOf(const ShowInput& in) {
  const IpGenPrefix prefix = prefixOf(in);
  const auto ofZone = [&](const Drop& drop) {
    return drop.zone == prefix || drop.code == DropCode::notNeighbor;
  };
  return {prefix, in.instance.status->bootstrapRouter(prefix), in.instance.status->cbsr(prefix),
          zoneMachine(in, prefix), dropsOf(in, ofZone)};
}

/// The last message was taken before the last one was dropped, if one was.
bool droppedSince(const Zone& zone) {
  if (zone.drops.empty() || zone.local()) return false;
  const bool heard = zone.bsr && zone.machine && zone.machine->lastBsm();
  return !heard || zone.drops.back().time > zone.machine->lastBsmSince();
}

bool hasNeighbor(const ShowInput& in) {
  for (const auto& [id, intf] : in.instance.pimStatus->pimIntf()) {
    if (!intf->neighbor().empty()) return true;
  }
  return false;
}

bool runs(const ShowInput& in) {
  for (const auto& [id, intf] : in.instance.pimStatus->pimIntf()) {
    if (intf->running()) return true;
  }
  return false;
}

/// Of a drop, with the way to the BSR as it is now.
std::string causeOf(const ShowInput& in, const Drop& drop) {
  std::string text = "Bootstrap messages are dropped " + dropText(drop);
  if (drop.code == DropCode::noRpfNeighbor) {
    text += " (" + wayText(in, drop.subject) + ")";
  }
  return text;
}

std::string absenceText(const ShowInput& in, const Zone& zone) {
  const std::string none = "No BSR in zone " + zone.prefix.text() + ": ";
  if (droppedSince(zone)) return none + causeOf(in, zone.drops.back());
  if (zone.candidate && zone.candidate->state() == BsrCandidateState::pBsr) {
    return none + "this router waits to be elected";
  }
  if (!runs(in)) return none + "PIM runs on no interface";
  if (!hasNeighbor(in)) return none + "there is no PIM neighbor on any interface";
  for (const IdleCandidate& idle : in.instance.idle) {
    if (idle.bsr) return none + "this router's candidate does not run, " + idleText(idle);
  }
  return none + "no candidate is heard of";
}

std::string candidacyText(const Zone& zone) {
  const auto& mine = *zone.candidate;
  const unsigned priority = mine.priority();
  const std::string self = "this router's " + mine.address().text();
  if (zone.bsr->priority() == priority) {
    return ", as its address is higher than " + self + " at equal priority";
  }
  return ", as its priority is higher than " + std::to_string(priority) + " of " + self;
}

std::string presenceText(const ShowInput& in, const Zone& zone) {
  const std::string subject = "zone " + zone.prefix.text() + " is " + zone.bsr->ipAddr().text();
  std::string text = "The BSR of " + subject + ", priority " + std::to_string(zone.bsr->priority());
  if (zone.local()) return text + ": this router";
  if (droppedSince(zone)) {
    return text + ", but is being lost: " + causeOf(in, zone.drops.back());
  }
  const bool standing = zone.candidate && !zone.candidate->address().isUnset();
  return text + (standing ? candidacyText(zone) : "");
}

void addMessage(const ShowInput& in, const Zone& zone, Explanation& out) {
  const auto bsm = zone.machine ? zone.machine->lastBsm() : nullptr;
  if (!bsm) return;
  out.facts.emplace_back("Last message", distanceText(in.now - zone.machine->lastBsmSince()) +
                                             " ago, tag " + std::to_string(bsm->fragmentTag()) +
                                             ", " + std::to_string(bsm->groupRpData().size()) +
                                             " ranges");
}

void addFacts(const ShowInput& in, const Zone& zone, Explanation& out) {
  if (zone.bsr) {
    out.facts.emplace_back("Since", distanceText(in.now - zone.bsr->setupTime()));
    out.facts.emplace_back(zone.local() ? "Next message" : "Expires",
                           "in " + distanceText(zone.bsr->expiryTime() - in.now));
    if (!zone.local()) out.facts.emplace_back("Way to it", wayText(in, zone.bsr->ipAddr()));
  }
  addMessage(in, zone, out);
  if (zone.candidate) {
    out.facts.emplace_back("Candidate", zone.candidate->address().text() + " on " +
                                            zone.candidate->intfId().text() + ", priority " +
                                            std::to_string(zone.candidate->priority()));
  }
  for (const IdleCandidate& idle : in.instance.idle) {
    if (idle.bsr) out.facts.emplace_back("Idle candidate", idleText(idle));
  }
  const auto* history = in.instance.events ? in.instance.events->history(zone.prefix) : nullptr;
  if (history != nullptr) out.facts.emplace_back("Elections", std::to_string(history->elections));
}

}  // namespace

Json explainBsr(const ShowInput& in) {
  const Zone zone = zoneOf(in);
  Explanation out;
  out.problem = !zone.bsr || droppedSince(zone);
  out.answer = zone.bsr ? presenceText(in, zone) : absenceText(in, zone);
  addFacts(in, zone, out);
  out.changes = eventsJson(in, lastOnes, [&](const Event& event) {
    return event.zone == zone.prefix && event.kind != EventKind::rpSetChanged;
  });
  out.drops = dropsJson(in, zone.drops);
  return out.json();
}

}  // namespace Routing::Agent
