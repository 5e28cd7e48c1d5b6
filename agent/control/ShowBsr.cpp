#include <nlohmann/json.hpp>
#include <set>

#include "agent/control/ShowParts.h"
#include "agent/control/ZoneMachine.h"

namespace Routing::Agent {
namespace {

using Pim::Bsr::BsrCandidate;
using Pim::Bsr::BsrCandidateState;
using Pim::Bsr::ElectedBsrStatus;

/// The states by their names in RFC 9128, which has none for the one before the start.
const char* stateName(BsrCandidateState state) {
  switch (state) {
    case BsrCandidateState::cBsr:
      return "candidate";
    case BsrCandidateState::pBsr:
      return "pending";
    case BsrCandidateState::eBsr:
      return "elected";
    default:
      return "no-info";
  }
}

Json electedJson(const ShowInput& in, const ElectedBsrStatus& bsr, bool local) {
  const Json timer = secondsBetween(in.now, bsr.expiryTime());
  return {{"address", textOrNull(bsr.ipAddr())},
          {"priority", priorityJson(bsr.priority())},
          {"hash-mask-length", hashMaskLenJson(bsr.hashMaskLen(), in.instance.af)},
          {"local", local},
          {"up-time", secondsBetween(bsr.setupTime(), in.now)},
          {"expiration", local ? Json(nullptr) : timer},
          {"next-bootstrap", local ? timer : Json(nullptr)}};
}

Json candidateJson(const BsrCandidate& candidate) {
  const bool periodSet = candidate.bsPeriod() != Pim::Bsr::bsPeriodUnknown;
  const bool lengthSet = candidate.hashMaskLen() != Pim::Bsr::hashMaskLenUnknown;
  return {{"state", stateName(candidate.state())},
          {"address", textOrNull(candidate.address())},
          {"interface", textOrNull(candidate.intfId())},
          {"priority", priorityJson(candidate.priority())},
          {"hash-mask-length", lengthSet ? Json(candidate.hashMaskLen()) : Json(nullptr)},
          {"interval", periodSet ? Json(candidate.bsPeriod()) : Json(nullptr)}};
}

/// Zones that somebody has spoken of, with or without a BSR; the global one always exists.
std::set<IpGenPrefix> zonesOf(const InstanceView& instance) {
  const auto& status = *instance.status;
  std::set<IpGenPrefix> zones{IpGenPrefix::multicast(instance.af)};
  for (const auto& entry : status.bootstrapRouter()) zones.insert(entry.first);
  for (const auto& entry : status.cbsr()) zones.insert(entry.first);
  for (const auto& entry : status.crpStatus()) zones.insert(entry.first);
  for (const auto& entry : status.zoneGroup()) zones.insert(entry.first);
  for (const auto& entry : instance.zoneExpiry) zones.insert(entry.first);
  return zones;
}

/// The neighbour over which the BSR's messages must come; null without one.
Json rpfJson(const ShowInput& in, const IpGenAddr& bsr) {
  const auto neighbor = in.instance.pamManager->rpfTable()->doLookup(bsr);
  if (!neighbor) return nullptr;
  return {{"interface", neighbor->intf.text()}, {"neighbor", neighbor->address.text()}};
}

Json messageJson(const ShowInput& in, const IpGenPrefix& zone) {
  const auto machine = zoneMachine(in, zone);
  const auto bsm = machine ? machine->lastBsm() : nullptr;
  if (!bsm) return nullptr;
  return {{"age", secondsBetween(machine->lastBsmSince(), in.now)}, {"tag", bsm->fragmentTag()}};
}

Json historyJson(const ShowInput& in, const IpGenPrefix& zone) {
  const auto* history = in.instance.events ? in.instance.events->history(zone) : nullptr;
  if (history == nullptr) return nullptr;
  return {{"elections", history->elections},
          {"last-change", eventJson(history->lastChange, in.now)}};
}

Json zoneJson(const ShowInput& in, const IpGenPrefix& zone) {
  const auto& bsr = in.instance.status->bootstrapRouter(zone);
  const auto& candidate = in.instance.status->cbsr(zone);
  const bool local = isBsr(in, zone);
  const auto expiry = in.instance.zoneExpiry.find(zone);
  const bool expires = expiry != in.instance.zoneExpiry.end();
  return {{"zone", zone.text()},
          {"scope", scopeName(zone)},
          {"bsr", bsr ? electedJson(in, *bsr, local) : Json(nullptr)},
          {"candidate", candidate ? candidateJson(*candidate) : Json(nullptr)},
          {"rpf", bsr && !local ? rpfJson(in, bsr->ipAddr()) : Json(nullptr)},
          {"last-message", messageJson(in, zone)},
          {"history", historyJson(in, zone)},
          {"zone-expiration", expires ? secondsBetween(in.now, expiry->second) : Json(nullptr)}};
}

}  // namespace

Json showBsr(const ShowInput& in) {
  Json zones = Json::array();
  for (const IpGenPrefix& zone : zonesOf(in.instance)) zones.push_back(zoneJson(in, zone));
  return {{"drained", drainedJson(in.drained)}, {"zones", std::move(zones)}};
}

}  // namespace Routing::Agent
