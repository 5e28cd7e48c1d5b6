#include "platform/acl/PermittedPrefixes.h"

namespace Routing {

void PermittedPrefixes::permit(const AddressIntervals& addresses) {
  permitted_ = united(permitted_, without(addresses, claimed_));
  claimed_ = united(claimed_, addresses);
}

void PermittedPrefixes::deny(const AddressIntervals& addresses) {
  claimed_ = united(claimed_, addresses);
}

std::set<IpGenPrefix> PermittedPrefixes::multicastPrefixes() const {
  return reduced(common(permitted_, {intervalOf(IpGenPrefix::multicast(af_))}));
}

std::set<IpGenPrefix> PermittedPrefixes::unicastPrefixes() const {
  std::set<IpGenPrefix> all = prefixes();
  const IpGenPrefix multicast = IpGenPrefix::multicast(af_);
  std::erase_if(all, [&](const IpGenPrefix& prefix) { return multicast.contains(prefix); });
  return all;
}

// From the lower end of each interval the largest block that is aligned there and fits.
std::set<IpGenPrefix> PermittedPrefixes::reduced(const AddressIntervals& intervals) const {
  std::set<IpGenPrefix> result;
  for (const AddressInterval& interval : intervals) {
    AddressNumber low = interval.low;
    for (;;) {
      unsigned hostBits = 0;
      AddressNumber last = low;
      while (hostBits < addressBits(af_)) {
        const AddressNumber bit = AddressNumber{1} << hostBits;
        if ((low & bit) != 0 || (last | bit) > interval.high) break;
        last |= bit;
        ++hostBits;
      }
      result.insert(IpGenPrefix(addressOfNumber(af_, low), addressBits(af_) - hostBits));
      if (last == interval.high) break;
      low = last + 1;
    }
  }
  return result;
}

}  // namespace Routing
