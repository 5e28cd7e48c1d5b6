#include <nlohmann/json.hpp>

#include "agent/control/ShowParts.h"

namespace Routing::Agent {
namespace {

/// Null where the neighbour did not send the option.
Json lanPruneDelay(const Pim::PimNeighbor& neighbor) {
  if (!neighbor.lanPruneDelayPresent()) return nullptr;
  return {{"t-bit", neighbor.tBit()},
          {"propagation-delay", neighbor.propagationDelay()},
          {"override-interval", neighbor.overrideInterval()}};
}

Json neighborJson(const ShowInput& in, const Pim::PimInterface& intf,
                  const Pim::PimNeighbor& neighbor) {
  const bool hasPriority = neighbor.drPriorityPresent();
  const bool hasGenId = neighbor.generationIdPresent();
  return {{"interface", intf.intfId().text()},
          {"address", neighbor.address().text()},
          {"up-time", secondsBetween(neighbor.setupTime(), in.now)},
          {"expiration", secondsBetween(in.now, neighbor.expiryTime())},
          {"holdtime", neighbor.holdtime()},
          {"dr", neighbor.address() == intf.usedDr()},
          {"dr-priority", hasPriority ? Json(neighbor.drPriority()) : Json(nullptr)},
          {"gen-id", hasGenId ? Json(neighbor.generationId()) : Json(nullptr)},
          {"lan-prune-delay", lanPruneDelay(neighbor)},
          {"secondary-addresses", addressList(neighbor.secondaryAddress())}};
}

Json mtuJson(const ShowInput& in, const IntfId& intf) {
  const auto& status = in.interfaces.intfStatus(intf);
  return status && status->mtu() != 0 ? Json(status->mtu()) : Json(nullptr);
}

/// The prefixes of which the interface is a border.
Json bordersJson(const ShowInput& in, const IntfId& intf) {
  Json borders = Json::array();
  for (const auto& [prefix, border] : in.instance.status->bsBorder()) {
    if (border->intfId(intf)) borders.push_back(prefix.text());
  }
  return borders;
}

Json interfaceJson(const ShowInput& in, const Pim::PimInterface& intf) {
  return {{"interface", intf.intfId().text()},
          {"up", intf.up()},
          {"address", textOrNull(intf.address())},
          {"secondary-addresses", addressList(intf.secondaryAddress())},
          {"dr-address", textOrNull(intf.usedDr())},
          {"dr", intf.isDr()},
          {"dr-priority", intf.drPriority()},
          {"gen-id", intf.generationId()},
          {"hello", intf.helloPassive() ? "passive" : "active"},
          {"triggered-hellos-sent", intf.triggeredHelloSent()},
          {"neighbor-count", intf.neighbor().size()},
          {"borders", bordersJson(in, intf.intfId())},
          {"mtu", mtuJson(in, intf.intfId())}};
}

}  // namespace

Json showNeighbor(const ShowInput& in) {
  Json neighbors = Json::array();
  for (const auto& [id, intf] : in.instance.pimStatus->pimIntf()) {
    for (const auto& entry : intf->neighbor()) {
      neighbors.push_back(neighborJson(in, *intf, *entry.second));
    }
  }
  return {{"neighbors", std::move(neighbors)}};
}

Json showInterface(const ShowInput& in) {
  Json interfaces = Json::array();
  for (const auto& entry : in.instance.pimStatus->pimIntf()) {
    interfaces.push_back(interfaceJson(in, *entry.second));
  }
  return {{"interfaces", std::move(interfaces)}};
}

}  // namespace Routing::Agent
