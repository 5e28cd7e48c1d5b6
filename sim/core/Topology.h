#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/net/IntfId.h"
#include "platform/net/IpGenAddr.h"

namespace Routing::Sim {

using RouterId = std::uint32_t;
using NetworkId = std::uint32_t;

/// How a network treats what is sent on it. Times in seconds, the rest probabilities; drawn for
/// every receiver on its own.
struct Impairment {
  double delay = 0.001;
  double jitter = 0.0;  ///< added to the delay, evenly spread from 0 to this
  double loss = 0.0;
  double duplicate = 0.0;
  double reorder = 0.0;  ///< how likely a packet is held back by up to `reorderDelay`
  double reorderDelay = 0.5;

  friend bool operator==(const Impairment&, const Impairment&) = default;
};

/// A point-to-point link or a LAN.
struct NetworkPlan {
  std::string name;
  std::vector<RouterId> members;
  Impairment impairment;
  std::uint32_t mtu = 1500;
  bool lan = false;
  std::vector<IntfId>
      interfaces;  ///< of the members, or one for all: by default the network's name

  /// The place of a member.
  std::size_t placeOf(RouterId router) const;
  /// The name of a member's interface.
  const IntfId& intfOf(RouterId router) const;
};

/// Where a picture may draw a router; in units of one hop.
struct Place {
  double x = 0.0;
  double y = 0.0;
};

struct RouterPlan {
  std::string name;
  std::optional<Place> place;
  std::vector<NetworkId> networks;  ///< in the order in which it was attached
};

/// Which routers there are and how they are wired; fixed during a run. What is up is not its
/// business.
class Topology {
 public:
  /// Names must be new.
  RouterId newRouter(const std::string& name, std::optional<Place> place = std::nullopt);
  NetworkId newNetwork(NetworkPlan plan);
  /// A point-to-point link named "A-B" (a further one "A-B-2" and so on).
  NetworkId newLink(RouterId a, RouterId b, const Impairment& impairment = {},
                    std::uint32_t mtu = 1500);

  const std::vector<RouterPlan>& routers() const { return routers_; }
  const std::vector<NetworkPlan>& networks() const { return networks_; }
  const RouterPlan& router(RouterId id) const { return routers_[id]; }
  const NetworkPlan& network(NetworkId id) const { return networks_[id]; }
  NetworkPlan& network(NetworkId id) { return networks_[id]; }
  std::optional<RouterId> routerNamed(std::string_view name) const;
  /// Also finds a link by the reversed name "B-A".
  std::optional<NetworkId> networkNamed(std::string_view name) const;

  // Shapes; routers are named r1, r2, ... and continue the numbers that exist.
  void addLine(unsigned routers, const Impairment& impairment = {}, std::uint32_t mtu = 1500);
  void addRing(unsigned routers, const Impairment& impairment = {}, std::uint32_t mtu = 1500);
  /// The first router is the hub.
  void addStar(unsigned routers, const Impairment& impairment = {}, std::uint32_t mtu = 1500);
  void addTorus(unsigned columns, unsigned rows, const Impairment& impairment = {},
                std::uint32_t mtu = 1500);
  /// All on one LAN, "lan".
  void addLan(unsigned routers, const Impairment& impairment = {}, std::uint32_t mtu = 1500);

  // The addresses that a router starts with.
  static IpGenAddr loopback(RouterId router, AddressFamily af);
  /// The address on a network, global also for IPv6; `member` is the place in the network's list.
  static IpGenAddr onNetwork(NetworkId network, std::size_t member, AddressFamily af);
  static IpGenAddr linkLocal(RouterId router);

 private:
  RouterId newNumbered(std::optional<Place> place);

  std::vector<RouterPlan> routers_;
  std::vector<NetworkPlan> networks_;
  std::unordered_map<std::string, RouterId> routerByName_;
  std::unordered_map<std::string, NetworkId> networkByName_;
};

}  // namespace Routing::Sim
