#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "agent/events/EventBook.h"
#include "agent/view/DrainReport.h"
#include "agent/view/IdleCandidate.h"
#include "bsr/types/Limits.h"
#include "bsr/types/Status.h"
#include "platform/net/AddressFamily.h"
#include "platform/net/VrfName.h"
#include "platform/pim/AllIntfStatusDir.h"
#include "platform/pim/PamManager.h"
#include "platform/pim/PimStatus.h"
#include "platform/pim/RpCandidateStatus.h"
#include "platform/upgrade/ZeuStatus.h"

namespace Routing::Pim::Bsr {
class PimBsrSm;
}

namespace Routing::Agent {

/// What runs in one VRF and address family. No shared pointer is null.
struct InstanceView {
  VrfName vrf;
  AddressFamily af = AddressFamily::unset;
  std::shared_ptr<const Pim::PimStatus> pimStatus;            ///< interfaces and neighbours
  std::shared_ptr<const Pim::PamManager> pamManager;          ///< message counters, RPF look-ups
  std::shared_ptr<const Pim::Bsr::Status> status;             ///< of the BSR mechanism
  std::shared_ptr<const Pim::RpCandidateStatus> rpCandidate;  ///< PIM's own RP set
  std::shared_ptr<const Pim::Bsr::PimBsrLimits> limits;
  std::shared_ptr<const ZeuVrfStatus> upgrade;  ///< VRFs of the family that are ready for one
  /// When scoped zones that have no BSR will be forgotten.
  std::map<IpGenPrefix, double> zoneExpiry = {};
  std::vector<IdleCandidate> idle = {};
  double countersCleared = 0.0;  ///< when they were, or the instance began
  /// Datagrams that the kernel dropped because they came faster than they were read.
  std::uint64_t overflows = 0;
  // Null where there is none, as in tests:
  const EventBook* events = nullptr;
  const Pim::Bsr::PimBsrSm* engine = nullptr;
  const Pim::UnicastRouting* routing = nullptr;
};

/// The running daemon as whoever answers its operators sees it. For reading, on the event-loop
/// thread, and not beyond the turn of the loop in which it was asked for.
class AgentView {
 public:
  virtual ~AgentView() = default;

  /// The event loop's clock, in which all instants of the status stand.
  virtual double now() const = 0;
  /// When the daemon started, on that clock.
  virtual double startTime() const = 0;
  /// How many timers are armed.
  virtual std::size_t timers() const = 0;
  /// In the order of VRF name, then family.
  virtual std::vector<InstanceView> instances() const = 0;
  /// How often an instance has come or gone until now.
  virtual std::uint64_t instanceChanges() const = 0;
  /// What operators have taken from this router, and what has come of it.
  virtual DrainReport drainReport() const = 0;
  /// State and MTU of all interfaces of the router, whether PIM runs on them or not.
  virtual std::shared_ptr<const Pim::AllIntfStatusDir> allIntfStatusDir() const = 0;
};

}  // namespace Routing::Agent
