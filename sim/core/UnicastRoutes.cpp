#include "sim/core/UnicastRoutes.h"

namespace Routing::Sim {

UnicastRoutes::UnicastRoutes(const Topology& topology) : topology_(topology), firstLink_{0} {
  for (RouterId from = 0; from < topology.routers().size(); ++from) {
    for (const NetworkId network : topology.router(from).networks) {
      for (const RouterId to : topology.network(network).members) {
        if (to != from) links_.push_back({network, to});
      }
    }
    firstLink_.push_back(links_.size());
  }
}

void UnicastRoutes::ownerIs(const IpGenAddr& address, const Owner& owner) {
  owner_[address] = owner;
}

const UnicastRoutes::Owner* UnicastRoutes::owner(const IpGenAddr& address) const {
  const auto it = owner_.find(address);
  return it == owner_.end() ? nullptr : &it->second;
}

void UnicastRoutes::livenessIs(const Liveness& liveness) {
  liveness_ = liveness;
  distances_.clear();
}

// Breadth first, one router ring after the other.
void UnicastRoutes::spread(Distances& distance, std::vector<RouterId>& reached) const {
  for (std::size_t i = 0; i < reached.size(); ++i) {
    const RouterId at = reached[i];
    for (const Link& link : links(at)) {
      const bool fresh = distance[link.to] == unreachable && liveness_.router[link.to];
      if (!fresh || !liveness_.attached(at, link.network)) continue;
      distance[link.to] = distance[at] + 1;
      reached.push_back(link.to);
    }
  }
}

// An address on a network is as far as the nearest router on that network.
const UnicastRoutes::Distances& UnicastRoutes::distances(const Owner& to) const {
  const std::uint64_t key = to.loopback ? to.router : std::uint64_t{to.network} << 32 | 0xffffffff;
  const auto [it, fresh] = distances_.try_emplace(key);
  if (!fresh) return it->second;
  Distances& distance = it->second;
  distance.assign(topology_.routers().size(), unreachable);
  std::vector<RouterId> reached;
  if (to.loopback) {
    if (liveness_.router[to.router]) reached.push_back(to.router);
  } else if (liveness_.network[to.network]) {
    for (const RouterId member : topology_.network(to.network).members) {
      if (liveness_.router[member]) reached.push_back(member);
    }
  }
  for (const RouterId start : reached) distance[start] = 0;
  spread(distance, reached);
  return distance;
}

const std::vector<Hop>& UnicastRoutes::hops(RouterId from, const IpGenAddr& to) const {
  hops_.clear();
  const Owner* const end = owner(to);
  if (end != nullptr && end->router != from) findHops(from, *end);
  return hops_;
}

void UnicastRoutes::findHops(RouterId from, const Owner& to) const {
  const Distances& distance = distances(to);
  if (distance[from] == unreachable) return;
  if (distance[from] == 0) return void(hops_.push_back({to.network, to.router, true}));
  for (const Link& link : links(from)) {
    const bool nearer = distance[link.to] == distance[from] - 1;
    if (nearer && liveness_.attached(from, link.network)) {
      hops_.push_back({link.network, link.to, false});
    }
  }
}

}  // namespace Routing::Sim
