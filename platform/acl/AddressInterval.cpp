#include "platform/acl/AddressInterval.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Routing {
namespace {

AddressNumber ones(unsigned bits) {
  return bits == 0 ? 0 : ~AddressNumber{0} >> (128 - bits);
}

/// Appends to ascending intervals one that does not begin before the last.
void append(AddressIntervals& to, const AddressInterval& interval) {
  const bool joins =
      !to.empty() && (interval.low <= to.back().high || interval.low - 1 == to.back().high);
  if (joins) {
    to.back().high = std::max(to.back().high, interval.high);
  } else {
    to.push_back(interval);
  }
}

bool beginsBefore(const AddressInterval& a, const AddressInterval& b) {
  return a.low < b.low;
}

}  // namespace

AddressNumber addressNumber(const IpGenAddr& address) {
  if (address.af() == AddressFamily::ipv4) return address.v4Value();
  return AddressNumber{address.upper()} << 64 | address.lower();
}

IpGenAddr addressOfNumber(AddressFamily af, AddressNumber number) {
  if (af == AddressFamily::ipv4) return IpGenAddr::v4(static_cast<std::uint32_t>(number));
  return IpGenAddr::v6(static_cast<std::uint64_t>(number >> 64),
                       static_cast<std::uint64_t>(number));
}

AddressInterval intervalOf(const IpGenPrefix& prefix) {
  const AddressNumber low = addressNumber(prefix.address());
  return {low, low | ones(addressBits(prefix.af()) - prefix.length())};
}

AddressIntervals united(const AddressIntervals& a, const AddressIntervals& b) {
  AddressIntervals all;
  all.reserve(a.size() + b.size());
  std::merge(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(all), beginsBefore);
  AddressIntervals result;
  for (const AddressInterval& interval : all) append(result, interval);
  return result;
}

AddressIntervals without(const AddressIntervals& a, const AddressIntervals& b) {
  AddressIntervals result;
  auto cut = b.begin();
  for (AddressInterval rest : a) {
    while (cut != b.end() && cut->high < rest.low) ++cut;
    bool left = true;
    for (auto at = cut; left && at != b.end() && at->low <= rest.high; ++at) {
      if (at->low > rest.low) result.push_back({rest.low, at->low - 1});
      left = at->high < rest.high;
      if (left) rest.low = at->high + 1;
    }
    if (left) result.push_back(rest);
  }
  return result;
}

AddressIntervals within(const AddressInterval& bounds, const AddressIntervals& all) {
  AddressIntervals result;
  for (const AddressInterval& each : all) {
    const AddressNumber low = std::max(bounds.low, each.low);
    const AddressNumber high = std::min(bounds.high, each.high);
    if (low <= high) result.push_back({low, high});
  }
  return result;
}

}  // namespace Routing
