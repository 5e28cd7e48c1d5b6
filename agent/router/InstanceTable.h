#pragma once

#include <map>
#include <utility>
#include <vector>

#include "agent/router/DaemonInstance.h"

namespace Routing::Agent {

/// The instances of all VRFs and families. One runs while it is configured and its VRF is there:
/// the default VRF always is, another one while there is a VRF device of its name. An instance that
/// comes back begins anew. One for which there are no sockets is tried again when interfaces
/// change.
class InstanceTable {
 public:
  explicit InstanceTable(InstanceSurroundings surroundings)
      : surroundings_(std::move(surroundings)) {}

  /// Follows the configuration, which the entities say already.
  void handleConfig();
  /// What the name of an interface stood for and stands for now; the interface table knows already.
  void handleIntf(const IntfId& intf, const Interface* before, const Interface* now);
  void flushRoutes();
  /// Writes what has changed of the states, and tells of it. Call at the end of a turn.
  void settle();
  /// See AgentCommands::clear().
  std::size_t clear(const ClearOrder& order);
  /// Says goodbye to all neighbours, and leaves no state behind.
  void shutdown();

  /// In the order of VRF name, then family.
  std::vector<InstanceView> views() const;
  /// How often one has come or gone.
  std::uint64_t changes() const { return changes_; }

 private:
  using Key = ConfigEntities::Key;
  struct Instance {
    Instance(const InstanceSurroundings& surroundings, const Key& key, std::uint32_t device)
        : vrfDevice(device), host(surroundings, key.first, key.second) {}
    const std::uint32_t vrfDevice;  // the device's index; 0 for the default VRF
    DaemonInstance host;
  };

  void update();
  bool isWanted(const Key& key, const Instance& instance) const;
  void start(const Key& key, std::uint32_t vrfDevice);
  void stop(const Key& key);

  const InstanceSurroundings surroundings_;
  std::map<Key, Instance> instances_;
  std::uint64_t changes_ = 0;
};

}  // namespace Routing::Agent
