#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/net/IpGenAddr.h"

namespace Routing::Pim {

/// IP protocol and IPv6 next-header number of PIM.
inline constexpr std::uint8_t ipProtocol = 103;
/// The only PIM version on the wire (RFC 7761 section 4.9).
inline constexpr std::uint8_t pimVersion = 2;

/// The PIM message types that are decoded here (RFC 7761 section 4.9).
enum class PimType : std::uint8_t { hello = 0, bootstrap = 4, crpAdv = 8 };

/// The type number in the first octet of a PIM message, whether known here or not; none if there is
/// no octet. Lets a caller count a dropped message by type.
constexpr std::optional<std::uint8_t> pimTypeOf(std::span<const std::uint8_t> payload) {
  if (payload.empty()) return std::nullopt;
  return static_cast<std::uint8_t>(payload[0] & 0x0f);
}

/// ALL-PIM-ROUTERS: 224.0.0.13 or ff02::d (RFC 5059 section 4). Unset for an unset family.
constexpr IpGenAddr allPimRouters(AddressFamily af) {
  switch (af) {
    case AddressFamily::ipv4:
      return IpGenAddr::v4(0xe000000d);
    case AddressFamily::ipv6:
      return IpGenAddr::v6(std::uint64_t{0xff02} << 48, 0xd);
    default:
      return {};
  }
}

}  // namespace Routing::Pim
