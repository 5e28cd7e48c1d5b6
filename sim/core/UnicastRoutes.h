#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <unordered_map>
#include <vector>

#include "platform/net/IpGenAddr.h"
#include "sim/core/Topology.h"

namespace Routing::Sim {

/// Which routers and which of their interfaces work.
struct Liveness {
  std::vector<bool> router;
  std::vector<bool> network;

  bool attached(RouterId r, NetworkId n) const { return router[r] && network[n]; }
};

/// One way towards a destination: over a network to a router there, which is the destination's
/// owner where `direct`.
struct Hop {
  NetworkId network;
  RouterId router;
  bool direct;
};

/// Unicast routing over the topology: shortest paths by the number of hops, all equal ones. It
/// routes by the liveness that it was last told, which may lag behind the truth as a real routing
/// protocol does.
class UnicastRoutes {
 public:
  /// The topology is complete.
  explicit UnicastRoutes(const Topology& topology);

  /// Who has an address; a loopback has no network.
  struct Owner {
    RouterId router;
    bool loopback;
    NetworkId network;
  };
  void ownerIs(const IpGenAddr& address, const Owner& owner);
  void ownerDel(const IpGenAddr& address) { owner_.erase(address); }
  const Owner* owner(const IpGenAddr& address) const;

  void livenessIs(const Liveness& liveness);
  /// Next hops by network number; empty for an unknown or unreachable address and for the router's
  /// own. They stand until the next question.
  const std::vector<Hop>& hops(RouterId from, const IpGenAddr& to) const;

 private:
  static constexpr std::uint32_t unreachable = UINT32_MAX;
  using Distances = std::vector<std::uint32_t>;
  const Distances& distances(const Owner& to) const;
  /// A neighbour, and the network on which it is one.
  struct Link {
    NetworkId network;
    RouterId to;
  };
  std::span<const Link> links(RouterId from) const {
    return {links_.data() + firstLink_[from], links_.data() + firstLink_[from + 1]};
  }
  void findHops(RouterId from, const Owner& to) const;
  void spread(Distances& distance, std::vector<RouterId>& reached) const;

  const Topology& topology_;
  std::vector<Link> links_;             // by router, then by network
  std::vector<std::size_t> firstLink_;  // by router, with an end
  Liveness liveness_;
  std::unordered_map<IpGenAddr, Owner> owner_;
  mutable std::vector<Hop> hops_;                         // that were found last
  mutable std::map<std::uint64_t, Distances> distances_;  // by destination, until liveness changes
};

}  // namespace Routing::Sim
