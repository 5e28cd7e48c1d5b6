#pragma once

#include <map>
#include <optional>
#include <vector>

#include "config/model/Candidacies.h"
#include "sim/core/World.h"
#include "sim/scenario/RouterFile.h"

namespace Routing::Sim {

/// An interface of a router that leads to no network gets an address; unset: loses it.
struct AddressEdit {
  RouterId router;
  AddressFamily af;
  IntfId intf;
  IpGenAddr address;
};

/// Something else is to stand in the configuration files of some routers.
struct ConfigEdit {
  std::vector<RouterId> routers;
  ConfigPieces pieces;
};

/// Two hands on one network: the script of a scenario and random faults. What the script wants is
/// the case as soon as no fault stands against it.
class Control {
 public:
  /// `files` are what is configured at the start, by router; without them nothing can be edited.
  Control(World& world, std::vector<RouterFile> files);

  World& world() { return world_; }

  // The script.
  void start(RouterId router, World::Memory memory);
  void crash(RouterId router);
  void shutdown(RouterId router);
  /// Edits files, and has the routers reload them.
  void edit(const ConfigEdit& edit);
  /// Configures a router as a reload does.
  void configIs(RouterId router, const Agent::DaemonConfig& config);
  /// Withdraws a router's candidacies of these kinds as well, as if they were not configured: until
  /// undrain(), a reload, or its end.
  void drain(RouterId router, const Agent::Candidacies& kinds);
  void undrain(RouterId router);
  void addressIs(const AddressEdit& edit);
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
    Agent::Candidacies drained;
  };
  struct NetworkState {
    bool wanted = true;
    bool faulty = false;
    Impairment base;
    std::optional<Impairment> fault;
  };
  NetworkState& stateOf(NetworkId network);
  void apply(NetworkId network);

  World& world_;
  std::vector<RouterFile> files_;
  std::vector<RouterState> routers_;
  std::map<RouterId, Agent::DaemonConfig> undrained_;  // of routers that are drained
  std::map<NetworkId, NetworkState> networks_;         // where somebody had a hand
};

}  // namespace Routing::Sim
