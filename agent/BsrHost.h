#pragma once

#include <memory>

#include "agent/AgentView.h"
#include "agent/EventLoop.h"
#include "agent/InterfaceTable.h"
#include "agent/KernelRouting.h"
#include "agent/LocalRoutes.h"
#include "agent/Options.h"
#include "agent/PimSocketSet.h"
#include "bsr/host/BsrInstance.h"
#include "platform/pim/PimInstance.h"

namespace Routing::Agent {

/// What the instances of all VRFs and families stand on. All must outlive them.
struct HostBase {
  EventLoop& loop;
  const InterfaceTable& interfaces;
  RouteSource& routeSource;
  std::shared_ptr<const Pim::AllIntfStatusDir> allIntfStatusDir;
  RandomSource random;
};

/// PIM and the bootstrap mechanism of one VRF and family on real sockets and routes. The parts are
/// built in the order of their members and destroyed in reverse.
class BsrHost {
 public:
  /// Raises std::system_error if there are no sockets to be had.
  BsrHost(const HostBase& base, const VrfName& vrf, AddressFamily af,
          const InstanceOptions& options);
  BsrHost(const BsrHost&) = delete;
  BsrHost& operator=(const BsrHost&) = delete;
  ~BsrHost();

  /// What an interface was and is in this VRF (null where it was or is not there), and whether PIM
  /// is to run on it.
  void intfChanged(const IntfId& intf, const Interface* before, const Interface* now, bool pim);
  /// Call when routes, rules or interfaces have changed.
  void flushRoutes() { routing_.flush(); }
  /// Says goodbye to all neighbours.
  void shutdown() { pim_.shutdown(); }

  InstanceView view() const;

 private:
  void pimIntfIs(const IntfId& intf, const Interface& now, bool groupsLost);
  void pimIntfDel(const IntfId& intf);

  const VrfName vrf_;
  const AddressFamily af_;
  KernelRouting routing_;
  LocalRoutes localRoutes_;
  PimSocketSet sockets_;
  Pim::PimInstance pim_;
  std::shared_ptr<Pim::Bsr::Status> status_;
  std::shared_ptr<Pim::RpCandidateStatus> rpCandidate_;
  std::shared_ptr<Pim::Bsr::PimBsrLimits> limits_;
  Pim::Bsr::BsrInstance bsr_;
};

}  // namespace Routing::Agent
