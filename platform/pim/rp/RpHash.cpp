#include "platform/pim/rp/RpHash.h"

namespace Routing::Pim {
namespace {

std::uint32_t digest(const IpGenAddr& address) {
  const std::uint64_t folded = address.upper() ^ address.lower();
  return static_cast<std::uint32_t>(folded >> 32 ^ folded);
}

}  // namespace

std::uint32_t rpHashValue(const IpGenAddr& group, unsigned maskLen, const IpGenAddr& rp) {
  constexpr std::uint32_t factor = 1103515245;
  constexpr std::uint32_t addend = 12345;
  const std::uint32_t inner = factor * digest(group.masked(maskLen)) + addend;
  return (factor * (inner ^ digest(rp)) + addend) & 0x7fffffffU;
}

}  // namespace Routing::Pim
