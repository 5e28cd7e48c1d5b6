#pragma once

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenAddr.h"
#include "platform/pim/PimStatus.h"

namespace Routing::Pim {

/// One way towards an address. An unset gateway means that the address is on the interface's link.
struct NextHop {
  IntfId intf;
  IpGenAddr gateway;
};

/// Unicast routing as the host sees it.
class ROUTING_API UnicastRouting {
 public:
  virtual ~UnicastRouting() = default;
  /// The next hops of the best route to an address; empty if there is none, if the route discards,
  /// and for the router's own addresses.
  virtual std::vector<NextHop> nextHops(const IpGenAddr& address) const = 0;
  /// The same in place of what a list held. A host that knows them may copy them into it: the list
  /// keeps its memory from one message to the next.
  virtual void nextHopsInto(const IpGenAddr& address, std::vector<NextHop>& hops) const {
    hops = nextHops(address);
  }
};

/// The neighbour that leads towards an address, and the interface on which it stands.
struct RpfNeighbor {
  IpGenAddr address;
  IntfId intf;
};

/// RPF_neighbor of RFC 7761 section 4.1.6: the next hop of the unicast route, mapped to the PIM
/// neighbour that has this address. Of several equal next hops the one whose neighbour has the
/// highest address counts. A directly connected address is its own RPF neighbour if a PIM neighbour
/// has it; a router's own address has none.
class ROUTING_API PimRpfTable {
 public:
  /// `routing` must outlive the table.
  PimRpfTable(const UnicastRouting& routing, std::shared_ptr<const PimStatus> pimStatus)
      : routing_(routing), pimStatus_(std::move(pimStatus)) {}

  std::optional<RpfNeighbor> doLookup(const IpGenAddr& address) const;

 private:
  const UnicastRouting& routing_;
  std::shared_ptr<const PimStatus> pimStatus_;
  mutable std::vector<NextHop> hops_;  // room for the next answer
};

}  // namespace Routing::Pim
