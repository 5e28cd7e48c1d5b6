#include "agent/control/ShowParts.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace Routing::Agent {

Json secondsBetween(double from, double to) {
  const double distance = to - from;
  return std::isfinite(distance) ? Json(std::max(0.0, distance)) : Json(nullptr);
}

bool isBsr(const ShowInput& in, const IpGenPrefix& zone) {
  const auto& candidate = in.instance.status->cbsr(zone);
  return candidate && candidate->elected();
}

Json priorityJson(std::uint16_t priority) {
  return priority < Pim::Bsr::priorityUnknown ? Json(priority) : Json(nullptr);
}

Json hashMaskLenJson(std::uint32_t length, AddressFamily af) {
  return length <= addressBits(af) ? Json(length) : Json(nullptr);
}

Json textOrNull(const IpGenAddr& address) {
  return address.isUnset() ? Json(nullptr) : Json(address.text());
}

Json textOrNull(const IntfId& intf) {
  return intf.isUnset() ? Json(nullptr) : Json(intf.text());
}

Json addressList(const std::set<IpGenAddr>& addresses) {
  Json list = Json::array();
  for (const IpGenAddr& address : addresses) list.push_back(address.text());
  return list;
}

Json drainedJson(const Candidacies& drained) {
  return {{"bsr", drained.bsr}, {"rp", drained.rp}};
}

std::string_view scopeName(const IpGenPrefix& zone) {
  const bool global = zone == IpGenPrefix::multicast(zone.af());
  return enumName(global ? Pim::Bsr::Scope::global : Pim::Bsr::Scope::admin);
}

}  // namespace Routing::Agent
