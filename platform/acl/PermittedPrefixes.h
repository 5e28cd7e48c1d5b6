#pragma once

#include <cstddef>
#include <set>

#include "platform/Export.h"
#include "platform/acl/AddressInterval.h"

namespace Routing {

/// The addresses of one family that a sequence of rules permits: the first rule that speaks of an
/// address decides, and what none speaks of is denied.
class ROUTING_API PermittedPrefixes {
 public:
  explicit PermittedPrefixes(AddressFamily af) : af_(af) {}

  /// The next rules in order; the intervals must be normalized.
  void permit(const AddressIntervals& addresses);
  void deny(const AddressIntervals& addresses);

  /// The fewest prefixes that hold the permitted addresses and no other.
  std::set<IpGenPrefix> prefixes() const { return reduced(permitted_); }
  /// How many these are; makes none of them.
  std::size_t prefixCount() const;
  /// Those of the permitted multicast addresses.
  std::set<IpGenPrefix> multicastPrefixes() const;
  /// prefixes(), but those that lie wholly in the multicast range.
  std::set<IpGenPrefix> unicastPrefixes() const;

 private:
  std::set<IpGenPrefix> reduced(const AddressIntervals& intervals) const;

  AddressFamily af_;
  AddressIntervals claimed_;
  AddressIntervals permitted_;
};

}  // namespace Routing
