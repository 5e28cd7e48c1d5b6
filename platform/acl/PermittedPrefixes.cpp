#include "platform/acl/PermittedPrefixes.h"

namespace Routing {
namespace {

/// From the lower end of the interval the largest block that is aligned there and fits: calls
/// `with` with the first address and the length of each.
template <class With>
void eachPrefix(AddressFamily af, const AddressInterval& interval, With with) {
  AddressNumber low = interval.low;
  for (;;) {
    unsigned hostBits = 0;
    AddressNumber last = low;
    while (hostBits < addressBits(af)) {
      const AddressNumber bit = AddressNumber{1} << hostBits;
      if ((low & bit) != 0 || (last | bit) > interval.high) break;
      last |= bit;
      ++hostBits;
    }
    with(low, addressBits(af) - hostBits);
    if (last == interval.high) break;
    low = last + 1;
  }
}

}  // namespace

void PermittedPrefixes::permit(const AddressIntervals& addresses) {
  permitted_ = united(permitted_, without(addresses, claimed_));
  claimed_ = united(claimed_, addresses);
}

void PermittedPrefixes::deny(const AddressIntervals& addresses) {
  claimed_ = united(claimed_, addresses);
}

std::set<IpGenPrefix> PermittedPrefixes::multicastPrefixes() const {
  return reduced(within(intervalOf(IpGenPrefix::multicast(af_)), permitted_));
}

std::set<IpGenPrefix> PermittedPrefixes::unicastPrefixes() const {
  std::set<IpGenPrefix> all = prefixes();
  const IpGenPrefix multicast = IpGenPrefix::multicast(af_);
  std::erase_if(all, [&](const IpGenPrefix& prefix) { return multicast.contains(prefix); });
  return all;
}

std::size_t PermittedPrefixes::prefixCount() const {
  std::size_t count = 0;
  for (const AddressInterval& interval : permitted_) {
    eachPrefix(af_, interval, [&count](AddressNumber, unsigned) { ++count; });
  }
  return count;
}

std::set<IpGenPrefix> PermittedPrefixes::reduced(const AddressIntervals& intervals) const {
  std::set<IpGenPrefix> result;
  for (const AddressInterval& interval : intervals) {
    eachPrefix(af_, interval, [&](AddressNumber low, unsigned length) {
      result.insert(IpGenPrefix(addressOfNumber(af_, low), length));
    });
  }
  return result;
}

}  // namespace Routing
