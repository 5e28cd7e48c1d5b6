#include "sim/core/Topology.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace Routing::Sim {

std::size_t NetworkPlan::placeOf(RouterId router) const {
  const auto place = std::find(members.begin(), members.end(), router) - members.begin();
  return static_cast<std::size_t>(place);
}

const IntfId& NetworkPlan::intfOf(RouterId router) const {
  return interfaces.size() == 1 ? interfaces.front() : interfaces[placeOf(router)];
}

RouterId Topology::newRouter(const std::string& name, std::optional<Place> place) {
  const auto id = static_cast<RouterId>(routers_.size());
  if (!routerByName_.emplace(name, id).second) {
    throw std::invalid_argument("router " + name + " exists already");
  }
  routers_.push_back({name, place, {}});
  return id;
}

NetworkId Topology::newNetwork(NetworkPlan plan) {
  const auto id = static_cast<NetworkId>(networks_.size());
  if (!networkByName_.emplace(plan.name, id).second) {
    throw std::invalid_argument("network " + plan.name + " exists already");
  }
  for (const RouterId member : plan.members) routers_[member].networks.push_back(id);
  if (plan.interfaces.empty()) plan.interfaces.emplace_back(plan.name);
  networks_.push_back(std::move(plan));
  return id;
}

NetworkId Topology::newLink(RouterId a, RouterId b, const Impairment& impairment,
                            std::uint32_t mtu) {
  const std::string base = routers_[a].name + "-" + routers_[b].name;
  std::string name = base;
  for (int n = 2; networkByName_.contains(name); ++n) name = base + "-" + std::to_string(n);
  return newNetwork({name, {a, b}, impairment, mtu, false, {}});
}

std::optional<RouterId> Topology::routerNamed(std::string_view name) const {
  const auto it = routerByName_.find(std::string(name));
  return it == routerByName_.end() ? std::nullopt : std::optional(it->second);
}

std::optional<NetworkId> Topology::networkNamed(std::string_view name) const {
  const auto it = networkByName_.find(std::string(name));
  if (it != networkByName_.end()) return it->second;
  const auto dash = name.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  const auto turned = networkByName_.find(std::string(name.substr(dash + 1)) + "-" +
                                          std::string(name.substr(0, dash)));
  return turned == networkByName_.end() ? std::nullopt : std::optional(turned->second);
}

RouterId Topology::newNumbered(std::optional<Place> place) {
  return newRouter("r" + std::to_string(routers_.size() + 1), place);
}

void Topology::addLine(unsigned routers, const Impairment& impairment, std::uint32_t mtu) {
  for (unsigned i = 0; i < routers; ++i) {
    const RouterId id = newNumbered(Place{static_cast<double>(i), 0.0});
    if (i > 0) newLink(id - 1, id, impairment, mtu);
  }
}

void Topology::addRing(unsigned routers, const Impairment& impairment, std::uint32_t mtu) {
  const double step = 2.0 * std::acos(-1.0) / routers;
  const double radius = 0.5 / std::sin(step / 2);
  const auto first = static_cast<RouterId>(routers_.size());
  for (unsigned i = 0; i < routers; ++i) {
    const RouterId id =
        newNumbered(Place{radius * std::sin(i * step), -radius * std::cos(i * step)});
    if (i > 0) newLink(id - 1, id, impairment, mtu);
  }
  newLink(first + routers - 1, first, impairment, mtu);
}

void Topology::addStar(unsigned routers, const Impairment& impairment, std::uint32_t mtu) {
  const RouterId hub = newNumbered(Place{0.0, 0.0});
  const double step = 2.0 * std::acos(-1.0) / (routers - 1);
  for (unsigned i = 1; i < routers; ++i) {
    const RouterId id = newNumbered(Place{1.6 * std::sin(i * step), -1.6 * std::cos(i * step)});
    newLink(hub, id, impairment, mtu);
  }
}

void Topology::addTorus(unsigned columns, unsigned rows, const Impairment& impairment,
                        std::uint32_t mtu) {
  const auto first = static_cast<RouterId>(routers_.size());
  const auto at = [=](unsigned x, unsigned y) {
    return first + (y % rows) * columns + x % columns;
  };
  for (unsigned y = 0; y < rows; ++y) {
    for (unsigned x = 0; x < columns; ++x) {
      newNumbered(Place{static_cast<double>(x), static_cast<double>(y)});
    }
  }
  for (unsigned y = 0; y < rows; ++y) {
    for (unsigned x = 0; x < columns; ++x) {
      newLink(at(x, y), at(x + 1, y), impairment, mtu);
      newLink(at(x, y), at(x, y + 1), impairment, mtu);
    }
  }
}

void Topology::addLan(unsigned routers, const Impairment& impairment, std::uint32_t mtu) {
  NetworkPlan lan{"lan", {}, impairment, mtu, true, {}};
  for (unsigned i = 0; i < routers; ++i) {
    lan.members.push_back(newNumbered(Place{static_cast<double>(i), i % 2 == 0 ? -0.8 : 0.8}));
  }
  newNetwork(std::move(lan));
}

IpGenAddr Topology::loopback(RouterId router, AddressFamily af) {
  if (af == AddressFamily::ipv4) return IpGenAddr::v4(0x0a000001 + router);
  return IpGenAddr::v6(0x20010db800000000, router + 1);
}

IpGenAddr Topology::onNetwork(NetworkId network, std::size_t member, AddressFamily af) {
  const auto host = static_cast<std::uint32_t>(member + 1);
  if (af == AddressFamily::ipv4) return IpGenAddr::v4(0x0a800000 + network * 256 + host);
  return IpGenAddr::v6(0x20010db800010000 + network, host);
}

IpGenAddr Topology::linkLocal(RouterId router) {
  return IpGenAddr::v6(std::uint64_t{0xfe80} << 48, router + 1);
}

}  // namespace Routing::Sim
