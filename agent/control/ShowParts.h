#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string_view>

#include "agent/control/Show.h"

/// Pieces that several topics share.
namespace Routing::Agent {

/// Seconds from one instant to another, not below 0; null for an infinite distance.
Json secondsBetween(double from, double to);
/// Whether this router is the BSR of a zone.
bool isBsr(const ShowInput& in, const IpGenPrefix& zone);
/// A priority, null if it is the mark for not set.
Json priorityJson(std::uint16_t priority);
/// A hash mask length, null if no address of the family can have it.
Json hashMaskLenJson(std::uint32_t length, AddressFamily af);
/// An address or interface as text, null if it is unset.
Json textOrNull(const IpGenAddr& address);
Json textOrNull(const IntfId& intf);
/// An event, with its age in seconds.
Json eventJson(const Event& event, double now);
/// At most so many of the last events of the instance that pass, the oldest first.
Json eventsJson(const ShowInput& in, std::size_t most,
                const std::function<bool(const Event&)>& passes = {});
/// Addresses in numeric order.
Json addressList(const std::set<IpGenAddr>& addresses);
/// Which candidacies operators have taken from this router.
Json drainedJson(const Candidacies& drained);
/// "global" for the whole multicast range, else "admin".
std::string_view scopeName(const IpGenPrefix& zone);

}  // namespace Routing::Agent
