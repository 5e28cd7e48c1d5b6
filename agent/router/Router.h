#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "agent/events/EventFeed.h"
#include "agent/events/Journal.h"
#include "agent/kernel/EventLoop.h"
#include "agent/kernel/InterfaceTable.h"
#include "agent/kernel/NetlinkMonitor.h"
#include "agent/kernel/RouteChanges.h"
#include "agent/kernel/RouteQuery.h"
#include "agent/router/Drain.h"
#include "agent/router/InstanceTable.h"
#include "agent/router/UpgradeController.h"
#include "agent/view/AgentView.h"
#include "config/entities/ConfigEntities.h"
#include "config/judge/Judgement.h"

namespace Routing::Agent {

/// This host as a router: its interfaces as the kernel has them, its configuration, and one
/// instance for each VRF and family.
class Router final : public AgentView {
 public:
  /// Begins to read the interfaces; `synchronised` runs when all are known. The loop must outlive
  /// the router. Raises std::system_error if the kernel cannot be reached.
  Router(EventLoop& loop, const TimeoutOverrides& timeouts, std::function<void()> synchronised);
  ~Router() override;

  /// Builds the instances and gives them their interfaces; once, after synchronisation. Raises
  /// std::runtime_error if the default VRF is configured and none of its families can run, because
  /// the process must not open raw sockets, for example.
  void start();
  /// Follows a configuration in which judge() finds no error, with all its candidacies.
  void configIs(const DaemonConfig& config);
  /// What it was told to follow, whatever of it is drained.
  const DaemonConfig& config() const { return config_; }
  /// Withdraws candidacies as if they were not configured, until undrain() or configIs().
  void drain(const Candidacies& kinds);
  const Candidacies& drained() const { return drain_.drained(); }
  void undrain();
  std::size_t clear(const ClearOrder& order) { return instances_.clear(order); }
  /// Takes the candidates away, says goodbye to all neighbours and leaves no state behind, unless
  /// an upgrade is prepared: then others are to notice nothing.
  void shutdown();

  /// Runs `settled` at the end of every turn of the event loop, when the states are written.
  void onTurnEnd(std::function<void()> settled) { settled_ = std::move(settled); }

  UpgradeController& upgrade() { return upgrade_; }
  EventFeed& eventFeed() { return eventFeed_; }
  AddressedInterfaces addressedInterfaces() const;

  double now() const override { return loop_.clock().now(); }
  double startTime() const override { return startTime_; }
  std::size_t timers() const override { return loop_.timerWheel().armed(); }
  std::vector<InstanceView> instances() const override { return instances_.views(); }
  std::uint64_t instanceChanges() const override { return instances_.changes(); }
  DrainReport drainReport() const override { return drain_.report(instances()); }
  std::shared_ptr<const Pim::AllIntfStatusDir> allIntfStatusDir() const override { return dir_; }

 private:
  void updateEntities();
  void handleIntf(const IntfId& intf, const Interface* before, const Interface* now);
  void updateDir(const IntfId& intf, const Interface* now);
  void requireDefaultVrf() const;

  EventLoop& loop_;
  const double startTime_;
  const std::shared_ptr<Pim::AllIntfStatusDir> dir_;
  InterfaceTable interfaces_;
  RouteQuery routeQuery_;
  DaemonConfig config_;
  Drain drain_;
  ConfigEntities entities_;  // what the drain leaves of the configuration
  UpgradeController upgrade_;
  StateStore state_;
  Journal journal_;
  EventFeed eventFeed_;
  InstanceTable instances_;
  RouteChanges routeChanges_;
  NetlinkMonitor monitor_;
  std::function<void()> settled_ = [] {};
  bool started_ = false;
};

}  // namespace Routing::Agent
