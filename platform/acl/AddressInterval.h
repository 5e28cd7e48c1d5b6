#pragma once

#include <vector>

#include "platform/Export.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing {

/// An address as a number: right-aligned, up to 128 bits.
// NOLINTNEXTLINE(modernize-use-using): __extension__ has no such form
__extension__ typedef unsigned __int128 AddressNumber;

ROUTING_API AddressNumber addressNumber(const IpGenAddr& address);
ROUTING_API IpGenAddr addressOfNumber(AddressFamily af, AddressNumber number);

/// Addresses from `low` to `high`, both included: the last address of all has no successor.
struct AddressInterval {
  AddressNumber low;
  AddressNumber high;
  friend bool operator==(const AddressInterval&, const AddressInterval&) = default;
};

/// Every address of a prefix.
ROUTING_API AddressInterval intervalOf(const IpGenPrefix& prefix);

/// Ascending intervals, no two of which overlap or touch.
using AddressIntervals = std::vector<AddressInterval>;

// Each of these is linear in the number of intervals.
ROUTING_API AddressIntervals united(const AddressIntervals& a, const AddressIntervals& b);
ROUTING_API AddressIntervals without(const AddressIntervals& a, const AddressIntervals& b);
ROUTING_API AddressIntervals within(const AddressInterval& bounds, const AddressIntervals& all);

}  // namespace Routing
