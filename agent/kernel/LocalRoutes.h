#pragma once

#include <map>
#include <memory>

#include "agent/kernel/InterfaceTable.h"
#include "platform/pim/PimUcastRouteStatus.h"

namespace Routing::Agent {

/// Writes the addresses of a VRF's interfaces into its unicast routes as local ones. An address
/// that several interfaces have stays until the last of them loses it.
class LocalRoutes {
 public:
  explicit LocalRoutes(AddressFamily af)
      : af_(af), status_(std::make_shared<Pim::PimUcastRouteStatus>(af)) {}

  const std::shared_ptr<Pim::PimUcastRouteStatus>& status() const { return status_; }
  /// What an interface was and is in this VRF; null where it was or is not there.
  void intfChanged(const Interface* before, const Interface* now);

 private:
  void add(const IpGenAddr& address);
  void remove(const IpGenAddr& address);

  AddressFamily af_;
  std::shared_ptr<Pim::PimUcastRouteStatus> status_;
  std::map<IpGenAddr, unsigned> holders_;
};

}  // namespace Routing::Agent
