#include "bsr/types/PimBsr.h"

#include <algorithm>
#include <cmath>
#include <ostream>

#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {
namespace {

// A final mix of 32 bits; all arithmetic wraps.
std::uint32_t mixed(std::uint32_t x) {
  x = x * 32768 - x - 1;
  x ^= x >> 12;
  x *= 5;
  x ^= x >> 4;
  x *= 2057;
  x ^= x >> 16;
  return x;
}

}  // namespace

bool operator<(const PimBsrWeight& a, const PimBsrWeight& b) {
  if (a.priority_ != b.priority_) return a.priority_ < b.priority_;
  const IpGenAddr& mine = a.ipAddr_;
  const IpGenAddr& other = b.ipAddr_;
  ROUTING_ASSERT_TEXT(mine.af() == other.af(), "ipAddr() .af() == weight.ipAddr().af()");
  ROUTING_ASSERT_TEXT(mine.af() != AddressFamily::unset,
                      "0 && \"Unknown address family not supported\"");
  return mine < other;
}

std::uint32_t PimBsrWeight::hash() const {
  return mixed(ipAddr_.hash() ^ priority_);
}

std::uint32_t PimBsrErrorCounters::hash() const {
  std::uint32_t h = 0;
  visitFields(*this, [&h](std::string_view, std::uint32_t n) { h = mixed(h ^ n); });
  return h;
}

std::uint32_t CrpOptions::hash() const {
  return mixed(rpAddress_.hash() ^ priority_.value());
}

std::ostream& operator<<(std::ostream& out, const PimBsrWeight& weight) {
  return out << valueText(weight);
}
std::ostream& operator<<(std::ostream& out, const PimBsrErrorCounters& counters) {
  return out << valueText(counters);
}
std::ostream& operator<<(std::ostream& out, const CrpOptions& options) {
  return out << valueText(options);
}
std::ostream& operator<<(std::ostream& out, BsrCandidateState state) {
  return out << enumName(state);
}
std::ostream& operator<<(std::ostream& out, BsrNonCandidateState state) {
  return out << enumName(state);
}
std::ostream& operator<<(std::ostream& out, Scope scope) {
  return out << enumName(scope);
}

namespace {

double addrDelay(const PimBsrWeight& mine, const PimBsrWeight& stored) {
  const AddressFamily af = mine.ipAddr().af();
  ROUTING_ASSERT_TEXT(af != AddressFamily::unset, "0 && \"Unknown address family not supported.\"");
  if (af == AddressFamily::ipv6) return 5.0;
  const std::uint64_t myAddr = mine.ipAddr().v4Value();
  if (mine.priority() < stored.priority()) return 2.0 - static_cast<double>(myAddr) * 0x1p-31;
  // The "+ 1" keeps the logarithm finite when the addresses are equal.
  const std::uint64_t bestAddr = std::max<std::uint64_t>(stored.ipAddr().v4Value(), myAddr);
  return std::log2(static_cast<double>(bestAddr + 1 - myAddr)) * 0.0625;
}

}  // namespace

BackOff backOff(const PimBsrWeight& mine, const PimBsrWeight& stored) {
  const int bestPriority = std::max(stored.priority(), mine.priority());
  const double priorityDelay = 2.0 * std::log2(1.0 + bestPriority - mine.priority());
  const double address = addrDelay(mine, stored);
  const double delay = 5.0 + priorityDelay + address;
  return {address, priorityDelay, delay, static_cast<std::uint32_t>(delay)};
}

}  // namespace Routing::Pim::Bsr
