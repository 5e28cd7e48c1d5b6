#pragma once

#include <netlink/msg.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "agent/kernel/InterfaceTable.h"

/// What is read from rtnetlink messages. Nothing is believed about their layout beyond what the
/// kernel's headers say; a message that does not fit is none.
namespace Routing::Agent {

/// Reads RTM_NEWLINK and RTM_DELLINK. IPv6 or bridge notices about a link are none.
std::optional<Link> linkOf(nlmsghdr& message);

struct AddressNotice {
  std::uint32_t index = 0;
  LocalAddress address;
  bool usable = false;  ///< neither tentative nor a failed duplicate check
};

/// Reads RTM_NEWADDR and RTM_DELADDR.
std::optional<AddressNotice> addressOf(nlmsghdr& message);

struct RouteHop {
  std::uint32_t index = 0;
  IpGenAddr gateway;  ///< unset if the destination is on the link

  friend bool operator==(const RouteHop&, const RouteHop&) = default;
};

/// The next hops of an RTM_NEWROUTE: empty unless the route forwards. A hop that is dead, or whose
/// gateway is of the other family, is left out. None if the message does not say where the route
/// leads (it names a next-hop object only).
std::optional<std::vector<RouteHop>> routeHopsOf(nlmsghdr& message);

}  // namespace Routing::Agent
