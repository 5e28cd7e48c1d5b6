#pragma once

#include <memory>
#include <set>

#include "agent/events/InstanceWatch.h"
#include "agent/kernel/EventLoop.h"
#include "agent/kernel/InterfaceTable.h"
#include "agent/kernel/KernelRouting.h"
#include "agent/kernel/LocalRoutes.h"
#include "agent/kernel/PimSocketSet.h"
#include "agent/router/TimeoutOverrides.h"
#include "agent/router/UpgradeController.h"
#include "agent/state/StateStore.h"
#include "agent/view/AgentView.h"
#include "agent/view/ClearOrder.h"
#include "bsr/host/BsrInstance.h"
#include "config/entities/ConfigEntities.h"
#include "platform/net/SourceIntfSm.h"
#include "platform/pim/PimInstance.h"

namespace Routing::Agent {

/// What the instances of all VRFs and families stand on. All must outlive them.
struct InstanceSurroundings {
  EventLoop& loop;
  const InterfaceTable& interfaces;
  RouteSource& routeSource;
  const ConfigEntities& entities;
  UpgradeController& upgrade;
  StateStore& state;
  std::shared_ptr<const Pim::AllIntfStatusDir> allIntfStatusDir;
  RandomSource random;
  TimeoutOverrides timeouts;
  EventSink events = {};
};

/// PIM and the bootstrap mechanism of one VRF and family on real sockets and routes. The parts are
/// built in the order of their members and destroyed in reverse.
class DaemonInstance {
 public:
  /// The VRF and family must be configured. Goes on with the state of an earlier life, if one is
  /// kept, and takes up the VRF's interfaces. Raises std::system_error if there are no sockets to
  /// be had.
  DaemonInstance(const InstanceSurroundings& surroundings, const VrfName& vrf, AddressFamily af);
  DaemonInstance(const DaemonInstance&) = delete;
  DaemonInstance& operator=(const DaemonInstance&) = delete;
  ~DaemonInstance();

  /// Follows the configuration in what no entity says: on which interfaces PIM runs and how, and
  /// the limits.
  void handleConfig();
  /// What an interface was and is in this VRF; null where it was or is not there.
  void handleIntf(const IntfId& intf, const Interface* before, const Interface* now);
  /// Call when routes, rules or interfaces have changed.
  void flushRoutes() { routing_.flush(); }
  /// Writes what has changed of the state, and tells of it. Call at the end of a turn.
  void settle();
  /// Forgets what operators say; returns how many things.
  std::size_t clear(const ClearOrder& order);
  /// Says goodbye to all neighbours, and leaves no state behind.
  void shutdown();

  InstanceView view() const;

 private:
  Pim::Bsr::BsrInputs inputs(const InstanceSurroundings& surroundings,
                             const FamilyEntities& entities);
  const FamilySettings& settings() const;
  WatchedInstance watched() const;
  std::set<IpGenPrefix> zones() const;
  void takeUpInterfaces();
  void overrideTimeouts();
  void clearCounters();
  std::size_t clearNeighbors();
  void pimIntfsAre(const std::map<std::string, InterfaceSettings>& interfaces);
  void updatePim(const IntfId& intf, const Interface* before, const Interface* now);
  void pimIntfIs(const IntfId& intf, const Interface& now, bool groupsLost);
  void pimIntfDel(const IntfId& intf);

  const VrfName vrf_;
  const AddressFamily af_;
  const InterfaceTable& interfaces_;
  const DaemonConfig& config_;
  const TimeoutOverrides timeouts_;
  EventLoop& loop_;
  const std::shared_ptr<Pim::Bsr::ClearConfig> clearConfig_;
  double countersCleared_;
  std::uint64_t overflowsCleared_ = 0;  // of those that the kernel has counted until then
  KernelRouting routing_;
  LocalRoutes localRoutes_;
  PimSocketSet sockets_;
  Pim::PimInstance pim_;
  std::set<IntfId> pimIntfs_;  // on which PIM is to run
  std::shared_ptr<SourceIntfSm> sourceIntfSm_;
  std::shared_ptr<Pim::Bsr::PimBsrLimits> limits_;
  std::unique_ptr<StateFile> state_;  // null: none is kept
  bool resumed_ = false;
  std::shared_ptr<Pim::Bsr::Status> status_;
  std::shared_ptr<Pim::RpCandidateStatus> rpCandidate_;
  std::shared_ptr<const ZeuVrfStatus> upgrade_;
  Pim::Bsr::BsrInstance bsr_;
  InstanceWatch watch_;
};

}  // namespace Routing::Agent
