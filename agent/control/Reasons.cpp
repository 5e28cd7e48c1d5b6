#include "agent/control/Reasons.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "agent/control/ShowParts.h"

namespace Routing::Agent {
namespace {

using Pim::Drop;
using Pim::DropCode;

std::string reasonText(const Drop& drop) {
  const std::string bsr = "BSR " + drop.subject.text();
  switch (drop.code) {
    case DropCode::malformed:
      return "malformed: " + std::string(dropReasonText(drop.fault));
    case DropCode::noPimInterface:
      return "PIM does not run on the interface";
    case DropCode::ownPacket:
      return "it is from this router itself";
    case DropCode::notNeighbor:
      return "its sender is no PIM neighbor";
    case DropCode::interfaceDown:
      return "a Hello while PIM is down on the interface";
    case DropCode::tooManyNeighbors:
      return "no room for another neighbor";
    case DropCode::neighborFilter:
      return "neighbor-filter of the interface does not permit this neighbor";
    case DropCode::noRpfNeighbor:
      return "no route to " + bsr + " leads over a PIM neighbor";
    case DropCode::wrongRpfNeighbor:
      return "RPF: the way to " + bsr + " leads over " + drop.expectedNeighbor.text() + " on " +
             drop.expectedIntf.text();
    case DropCode::noForward:
      return "a No-Forward message of " + bsr + ", and this router has started long ago";
    case DropCode::unicast:
      return "a Bootstrap message to one router";
    case DropCode::badDestination:
      return "a Bootstrap message to another group than that of all PIM routers";
    case DropCode::border:
      return "the interface is a border of zone " + drop.zone.text() + " (" + bsr + ")";
    case DropCode::filtered:
      return "rp-filter does not permit this source (RP " + drop.subject.text() + ")";
    case DropCode::notBsr:
      return "this router is not the BSR of its ranges (RP " + drop.subject.text() + ")";
  }
  return {};
}

}  // namespace

std::string dropText(const Drop& drop) {
  const std::string intf = drop.intf.isUnset() ? "" : " on " + drop.intf.text();
  return "from " + drop.source.text() + intf + ": " + reasonText(drop);
}

Json dropJson(const Drop& drop, double now) {
  const bool expects = !drop.expectedNeighbor.isUnset();
  return {{"age", secondsBetween(drop.time, now)},
          {"count", drop.count},
          {"reason", enumName(drop.code)},
          {"fault",
           drop.code == DropCode::malformed ? Json(dropReasonText(drop.fault)) : Json(nullptr)},
          {"source", textOrNull(drop.source)},
          {"interface", textOrNull(drop.intf)},
          {"about", textOrNull(drop.subject)},
          {"expected-neighbor", expects ? Json(drop.expectedNeighbor.text()) : Json(nullptr)},
          {"expected-interface", textOrNull(drop.expectedIntf)},
          {"text", dropText(drop)}};
}

std::vector<Drop> dropsOf(const ShowInput& in, const std::function<bool(const Drop&)>& passes) {
  std::vector<Drop> drops;
  for (const Drop& drop : std::as_const(*in.instance.pamManager).drops().last()) {
    if (!passes || passes(drop)) drops.push_back(drop);
  }
  return drops;
}

Json dropsJson(const ShowInput& in, const std::vector<Drop>& drops) {
  Json json = Json::array();
  for (const Drop& drop : drops) json.push_back(dropJson(drop, in.now));
  return json;
}

std::string idleText(const IdleCandidate& candidate) {
  switch (candidate.reason) {
    case IdleReason::noInterface:
      return "there is no interface " + candidate.intf;
    case IdleReason::otherVrf:
      return "interface " + candidate.intf + " is in another VRF";
    case IdleReason::interfaceDown:
      return "interface " + candidate.intf + " is down";
    case IdleReason::noAddress:
      return "interface " + candidate.intf + " has no address that others can reach";
    case IdleReason::nothingClaimed:
      return std::string("its configuration names no ") + (candidate.bsr ? "zone" : "group range") +
             ", or no list that permits one";
    case IdleReason::claimedElsewhere:
      return "another interface stands for the same";
  }
  return {};
}

std::string wayText(const ShowInput& in, const IpGenAddr& address) {
  if (const auto neighbor = in.instance.pamManager->rpfTable()->doLookup(address)) {
    return neighbor->address.text() + " on " + neighbor->intf.text();
  }
  if (in.instance.routing == nullptr) return "unknown";
  const auto hops = in.instance.routing->nextHops(address);
  if (hops.empty()) return "no route";
  const IpGenAddr& hop = hops.front().gateway.isUnset() ? address : hops.front().gateway;
  return hop.text() + " on " + hops.front().intf.text() + ", which is no PIM neighbor";
}

std::string distanceText(double seconds) {
  const auto all = static_cast<std::uint64_t>(std::clamp(seconds, 0.0, 1e9));
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%02" PRIu64 ":%02" PRIu64 ":%02" PRIu64, all / 3600,
                all / 60 % 60, all % 60);
  return text.data();
}

}  // namespace Routing::Agent
