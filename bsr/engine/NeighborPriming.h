#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "bsr/engine/ZoneServices.h"
#include "platform/Export.h"
#include "platform/pim/PimStatus.h"

namespace Routing::Pim::Bsr {

class ZoneSm;

/// Primes new neighbours with No-Forward messages on every interface of which this router is, or
/// was until just now, the designated router (RFC 5059 section 3.5). Brings them a message of our
/// own that nobody was there to hear.
class ROUTING_API NeighborPriming {
 public:
  /// The zone machines in the order in which their last messages are sent; empty while the engine
  /// is inert.
  using Machines = std::function<std::vector<std::shared_ptr<const ZoneSm>>()>;

  NeighborPriming(const VrfName& vrfName, std::shared_ptr<const PimStatus> pimStatus,
                  std::shared_ptr<ZoneServices> services, Machines machines);
  NeighborPriming(const NeighborPriming&) = delete;
  NeighborPriming& operator=(const NeighborPriming&) = delete;
  ~NeighborPriming();

  /// True if this router ceased to be designated router on the interface and no new neighbour has
  /// been primed since.
  bool wasDr(const IntfId& intf) const;
  /// A message is about to be forwarded on the interface.
  void handleForwarding(const IntfId& intf);
  /// Watches the interfaces from now on; what they do while `active` is false passes unnoticed.
  void activeIs(bool active) { active_ = active; }
  void retire();

 private:
  class Interface;

  void handlePimIntf(const IntfId& intf);
  const VrfName& vrfName() const { return vrfName_; }

  const VrfName vrfName_;
  const std::shared_ptr<const PimStatus> pimStatus_;
  const std::shared_ptr<ZoneServices> services_;
  const Machines machines_;
  bool active_ = false;
  std::map<IntfId, std::shared_ptr<Interface>> interfaces_;
  Subscription reactor_;
};

}  // namespace Routing::Pim::Bsr
