#include "sim/core/UnicastRoutes.h"

namespace Routing::Sim {

UnicastRoutes::UnicastRoutes(const Topology& topology) : topology_(topology) {}

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
    for (const NetworkId network : topology_.router(at).networks) {
      if (!liveness_.attached(at, network)) continue;
      for (const RouterId next : topology_.network(network).members) {
        if (distance[next] != unreachable || !liveness_.router[next]) continue;
        distance[next] = distance[at] + 1;
        reached.push_back(next);
      }
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

std::vector<Hop> UnicastRoutes::hops(RouterId from, const IpGenAddr& to) const {
  const Owner* end = owner(to);
  if (end == nullptr || end->router == from) return {};
  const Distances& distance = distances(*end);
  if (distance[from] == unreachable) return {};
  if (distance[from] == 0) return {{end->network, end->router, true}};
  std::vector<Hop> result;
  for (const NetworkId network : topology_.router(from).networks) {
    if (!liveness_.attached(from, network)) continue;
    for (const RouterId next : topology_.network(network).members) {
      if (next == from || distance[next] != distance[from] - 1) continue;
      result.push_back({network, next, false});
    }
  }
  return result;
}

}  // namespace Routing::Sim
