#pragma once

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/net/IpGenAddr.h"

namespace Routing {

/// An address prefix in canonical form: host bits are cleared at construction. A default prefix is
/// "none", the answer of a lookup without match; it differs from 0.0.0.0/0 and ::/0.
class ROUTING_API IpGenPrefix {
 public:
  constexpr IpGenPrefix() = default;
  /// A length above the family's address length is cut to it.
  constexpr IpGenPrefix(const IpGenAddr& address, unsigned length)
      : address_(address.masked(length)),
        length_(static_cast<std::uint8_t>(std::min(length, addressBits(address.af())))) {}

  /// The /32 or /128 prefix of an address.
  static IpGenPrefix host(const IpGenAddr& address);
  /// 0.0.0.0/0 or ::/0.
  static IpGenPrefix zero(AddressFamily af);
  /// The whole multicast range: 224.0.0.0/4 or ff00::/8.
  static constexpr IpGenPrefix multicast(AddressFamily af) {
    switch (af) {
      case AddressFamily::ipv4:
        return {IpGenAddr::v4(0xe0000000), 4};
      case AddressFamily::ipv6:
        return {IpGenAddr::v6(std::uint64_t{0xff} << 56, 0), 8};
      default:
        return {};
    }
  }
  /// Reads "ADDRESS/LENGTH", a bare address (a host prefix) or "none". Host bits are cleared.
  static std::optional<IpGenPrefix> fromText(std::string_view text);

  constexpr const IpGenAddr& address() const { return address_; }
  constexpr unsigned length() const { return length_; }
  constexpr AddressFamily af() const { return address_.af(); }
  /// True for a default prefix only.
  constexpr bool isNone() const { return af() == AddressFamily::unset; }

  /// True if `inner` lies wholly in this prefix (an equal prefix does). None contains nothing.
  constexpr bool contains(const IpGenPrefix& inner) const {
    return !isNone() && inner.length_ >= length_ && contains(inner.address_);
  }
  constexpr bool contains(const IpGenAddr& address) const {
    return !isNone() && address.af() == af() && address.masked(length_) == address_;
  }

  /// "ADDRESS/LENGTH" or "none".
  std::string text() const;
  std::uint32_t hash() const;

  /// Numeric by address, shorter prefixes first: a prefix precedes everything inside it.
  friend constexpr auto operator<=>(const IpGenPrefix&, const IpGenPrefix&) = default;

 private:
  [[no_unique_address]] IpGenAddr address_;
  std::uint8_t length_ = 0;
};

ROUTING_API std::ostream& operator<<(std::ostream& out, const IpGenPrefix& prefix);

}  // namespace Routing

template <>
struct std::hash<Routing::IpGenPrefix> {
  std::size_t operator()(const Routing::IpGenPrefix& p) const noexcept { return p.hash(); }
};
