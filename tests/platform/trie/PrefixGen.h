#pragma once

#include <rapidcheck.h>

#include <cstdint>

#include "platform/net/IpGenPrefix.h"

namespace Routing::Test {

inline IpGenAddr flipBit(const IpGenAddr& address, unsigned position) {
  std::uint8_t octets[16];
  address.toBytes(octets);
  octets[position / 8] ^= static_cast<std::uint8_t>(0x80 >> position % 8);
  return IpGenAddr::fromBytes(address.af(), octets);
}

/// Prefixes that nest, repeat and part at any bit: two near relatives of three base addresses, of
/// every length, the extreme lengths more often than chance.
inline rc::Gen<IpGenPrefix> prefixOf(AddressFamily af) {
  const unsigned bits = addressBits(af);
  const bool v4 = af == AddressFamily::ipv4;
  const auto base =
      v4 ? rc::gen::element(IpGenAddr::v4(0), IpGenAddr::v4(0xefffffff), IpGenAddr::v4(0xe8000000))
         : rc::gen::element(IpGenAddr::v6(0, 0), IpGenAddr::v6(~0ULL, ~0ULL),
                            IpGenAddr::v6(0xff0e000000000000, 0x8000000000000001));
  const auto length = rc::gen::oneOf(rc::gen::inRange(0U, bits + 1),
                                     rc::gen::element(0U, 1U, bits / 2, bits - 1, bits));
  return rc::gen::apply(
      [](const IpGenAddr& address, bool flip, unsigned position, unsigned len) {
        return IpGenPrefix(flip ? flipBit(address, position) : address, len);
      },
      base, rc::gen::arbitrary<bool>(), rc::gen::inRange(0U, bits), length);
}

}  // namespace Routing::Test
