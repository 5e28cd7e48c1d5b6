#include "agent/control/ClearCommands.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Routing::Agent {
namespace {

using What = ClearOrder::What;
using Json = nlohmann::json;

What whatOf(const std::string& topic) {
  if (topic == "counters") return What::counters;
  if (topic == "neighbor") return What::neighbors;
  if (topic == "bsr") return What::bsr;
  if (topic == "rp") return What::rp;
  throw RequestError(RefusalCode::badRequest, "unknown topic '" + topic + "'");
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
  ClearOrder order{request.vrf, request.af, whatOf(request.topic)};
  if (!request.zone.empty()) order.zone = zoneFromText(request.zone, request.af);
  if (order.what == What::rp && request.rp != "all") {  // all are to be named as such
    order.rp = addressFromText(request.rp, request.af);
  }
  if (order.what == What::neighbors && !request.neighbor.empty()) {
    order.neighbor = addressFromText(request.neighbor, request.af);
  }
  expectInstance(target.view, request);
  return {{"cleared", request.topic}, {"count", target.commands.clear(order)}};
}

}  // namespace Routing::Agent
