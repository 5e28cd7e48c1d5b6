#include "agent/control/ClearCommands.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Routing::Agent {
namespace {

using What = ClearOrder::What;
using Json = nlohmann::json;

[[noreturn]] void refuseOrder(const std::string& text) {
  throw RequestError(RefusalCode::badRequest, text);
}

What whatOf(const std::string& topic) {
  if (topic == "counters") return What::counters;
  if (topic == "neighbor") return What::neighbors;
  if (topic == "bsr") return What::bsr;
  if (topic == "rp") return What::rp;
  refuseOrder("unknown topic '" + topic + "'");
}

IpGenPrefix zoneOf(const ControlRequest& request) {
  if (request.zone.empty()) return {};
  const auto zone = IpGenPrefix::fromText(request.zone);
  if (!zone || zone->af() != request.af)
    refuseOrder("'" + request.zone + "' is no zone of the family");
  return *zone;
}

/// All RPs are to be named as such.
IpGenAddr rpOf(const ControlRequest& request) {
  if (request.rp == "all") return {};
  const auto rp = IpGenAddr::fromText(request.rp);
  if (!rp || rp->af() != request.af) refuseOrder("'rp' must be an address of the family, or all");
  return *rp;
}

IpGenAddr neighborOf(const ControlRequest& request) {
  if (request.neighbor.empty()) return {};
  const auto neighbor = IpGenAddr::fromText(request.neighbor);
  if (!neighbor || neighbor->af() != request.af)
    refuseOrder("'neighbor' must be an address of the family");
  return *neighbor;
}

void expectInstance(const AgentView& view, const ControlRequest& request) {
  const auto instances = view.instances();
  const bool runs = std::any_of(instances.begin(), instances.end(), [&](const auto& instance) {
    return instance.vrf == request.vrf && instance.af == request.af;
  });
  if (!runs) {
    throw RequestError(RefusalCode::unknownVrf,
                       "PIM does not run in VRF '" + request.vrf.text() + "'");
  }
}

}  // namespace

Json clear(const ControlTarget& target, const ControlRequest& request) {
  ClearOrder order{request.vrf, request.af, whatOf(request.topic), zoneOf(request)};
  if (order.what == What::rp) order.rp = rpOf(request);
  if (order.what == What::neighbors) order.neighbor = neighborOf(request);
  expectInstance(target.view, request);
  return {{"cleared", request.topic}, {"count", target.commands.clear(order)}};
}

}  // namespace Routing::Agent
