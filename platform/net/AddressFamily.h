#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "platform/entity/ValueText.h"

namespace Routing {

/// Address family of a routing entity; the numbers are IANA's (RFC 7761 section 4.9.1).
enum class AddressFamily : std::uint8_t { unset = 0, ipv4 = 1, ipv6 = 2 };

/// Length of an address in bits: 32, 128, or 0 for an unset family.
constexpr unsigned addressBits(AddressFamily af) {
  return af == AddressFamily::ipv4 ? 32 : af == AddressFamily::ipv6 ? 128 : 0;
}

/// Length of an address in octets: 4, 16, or 0 for an unset family.
constexpr unsigned addressBytes(AddressFamily af) {
  return addressBits(af) / 8;
}

}  // namespace Routing

template <>
struct Routing::EnumText<Routing::AddressFamily> {
  static constexpr std::array names{"unset", "ipv4", "ipv6"};
};
