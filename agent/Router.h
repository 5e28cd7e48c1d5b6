#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "agent/AgentView.h"
#include "agent/BsrHost.h"
#include "agent/EventLoop.h"
#include "agent/InterfaceTable.h"
#include "agent/NetlinkMonitor.h"
#include "agent/Options.h"
#include "agent/RouteChanges.h"
#include "agent/RouteQuery.h"

namespace Routing::Agent {

/// This host as a router: its interfaces as the kernel has them, and one instance for each VRF and
/// family. There is the default VRF for now.
class Router final : public AgentView {
 public:
  /// Begins to read the interfaces; `synchronised` runs when all are known. The loop must outlive
  /// the router. Raises std::system_error if the kernel cannot be reached.
  Router(EventLoop& loop, const Options& options, std::function<void()> synchronised);
  ~Router() override;

  /// Builds the instances and gives them their interfaces; once, after synchronisation. Raises
  /// std::system_error if the process must not open raw sockets.
  void start();
  /// Says goodbye to all neighbours.
  void shutdown();

  double now() const override { return loop_.clock().now(); }
  double startTime() const override { return startTime_; }
  std::vector<InstanceView> instances() const override;
  std::shared_ptr<const Pim::AllIntfStatusDir> allIntfStatusDir() const override { return dir_; }

 private:
  using InstanceKey = std::pair<VrfName, AddressFamily>;

  void newHost(const VrfName& vrf, AddressFamily af);
  void handleIntf(const IntfId& intf, const Interface* before, const Interface* now);
  void updateDir(const IntfId& intf, const Interface* now);
  void flushRoutes();
  void warnOfAbsent() const;

  EventLoop& loop_;
  const InstanceOptions options_;
  const std::vector<AddressFamily> families_;
  const std::set<IntfId> pimIntfs_;
  const double startTime_;
  const RandomSource random_;
  const std::shared_ptr<Pim::AllIntfStatusDir> dir_;
  InterfaceTable interfaces_;
  RouteQuery routeQuery_;
  std::map<InstanceKey, BsrHost> hosts_;
  RouteChanges routeChanges_;
  NetlinkMonitor monitor_;
};

}  // namespace Routing::Agent
