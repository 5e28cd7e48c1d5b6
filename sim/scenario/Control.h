#pragma once

#include <map>
#include <optional>
#include <vector>

#include "sim/core/World.h"

namespace Routing::Sim {

/// Two hands on one network: the script of a scenario and random faults. What the script wants is
/// the case as soon as no fault stands against it.
class Control {
 public:
  explicit Control(World& world);

  World& world() { return world_; }

  // The script.
  void start(RouterId router, World::Memory memory);
  void crash(RouterId router);
  void shutdown(RouterId router);
  /// Withdraws a router's candidacies, as if they were not configured, until undrain().
  void drain(RouterId router, bool bsr, bool rp);
  void undrain(RouterId router);
  void networkIs(NetworkId network, bool up);
  void impairmentIs(NetworkId network, const Impairment& impairment);

  // The faults.
  void faultRouterIs(RouterId router, bool down, World::Memory memory);
  void faultNetworkIs(NetworkId network, bool down);
  void faultImpairmentIs(NetworkId network, const std::optional<Impairment>& impairment);

 private:
  struct RouterState {
    bool wanted = false;
    bool faulty = false;
    std::map<AddressFamily, RouterConfig> undrained;  // while it is drained
  };
  struct NetworkState {
    bool wanted = true;
    bool faulty = false;
    Impairment base;
    std::optional<Impairment> fault;
  };
  void apply(NetworkId network);

  World& world_;
  std::vector<RouterState> routers_;
  std::vector<NetworkState> networks_;
};

}  // namespace Routing::Sim
