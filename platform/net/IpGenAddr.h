#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/net/AddressFamily.h"

namespace Routing {

/// An IPv4 or IPv6 address, or none. The bits are kept left-aligned in 128 bits, so that masks and
/// numeric order are the same operation in both families. The family comes last: what holds an
/// address may put something small into the octets behind it ([[no_unique_address]]).
class ROUTING_API IpGenAddr {
 public:
  constexpr IpGenAddr() = default;

  /// The IPv4 address with this value in host order.
  static constexpr IpGenAddr v4(std::uint32_t value) {
    return IpGenAddr(AddressFamily::ipv4, std::uint64_t{value} << 32, 0);
  }
  /// The IPv6 address with these upper and lower 64 bits in host order.
  static constexpr IpGenAddr v6(std::uint64_t upper, std::uint64_t lower) {
    return IpGenAddr(AddressFamily::ipv6, upper, lower);
  }
  /// The all-zero address of a family.
  static constexpr IpGenAddr zero(AddressFamily af) { return IpGenAddr(af, 0, 0); }
  /// Reads addressBytes(af) octets in network order.
  static constexpr IpGenAddr fromBytes(AddressFamily af, const std::uint8_t* octets) {
    switch (af) {
      case AddressFamily::ipv4:
        return v4(static_cast<std::uint32_t>(number<4>(octets)));
      case AddressFamily::ipv6:
        return v6(number<8>(octets), number<8>(octets + 8));
      default:
        return {};
    }
  }
  /// Reads dotted-quad or RFC 4291 text, or "unset"; nothing else is accepted.
  static std::optional<IpGenAddr> fromText(std::string_view text);

  constexpr AddressFamily af() const { return af_; }
  /// True for a default address, 0.0.0.0 and ::.
  constexpr bool isUnset() const { return hi_ == 0 && lo_ == 0; }
  constexpr bool isMulticast() const {
    return af_ == AddressFamily::ipv4 ? hi_ >> 60 == 0xe
                                      : af_ == AddressFamily::ipv6 && hi_ >> 56 == 0xff;
  }
  constexpr bool isLinkLocal() const {
    return af_ == AddressFamily::ipv4 ? hi_ >> 48 == 0xa9fe
                                      : af_ == AddressFamily::ipv6 && hi_ >> 54 == 0xfe80 >> 6;
  }
  constexpr bool isLoopback() const {
    return af_ == AddressFamily::ipv4 ? hi_ >> 56 == 127
                                      : af_ == AddressFamily::ipv6 && hi_ == 0 && lo_ == 1;
  }

  /// IPv4 value in host order; 0 for another family.
  constexpr std::uint32_t v4Value() const {
    return af_ == AddressFamily::ipv4 ? static_cast<std::uint32_t>(hi_ >> 32) : 0;
  }
  /// The left-aligned bits: an IPv4 address fills the topmost 32.
  constexpr std::uint64_t upper() const { return hi_; }
  constexpr std::uint64_t lower() const { return lo_; }

  /// Bit at position 0 (most significant) to 127.
  constexpr bool bit(unsigned position) const {
    return position < 64 ? (hi_ >> (63 - position)) & 1 : (lo_ >> (127 - position)) & 1;
  }
  /// This address with all bits from position `length` on cleared.
  constexpr IpGenAddr masked(unsigned length) const {
    return {af_, hi_ & highBits(length), length > 64 ? lo_ & highBits(length - 64) : 0};
  }

  /// Writes addressBytes(af()) octets in network order.
  constexpr void toBytes(std::uint8_t* octets) const {
    if (af_ == AddressFamily::ipv4) {
      numberTo<4>(octets, hi_ >> 32);
    } else if (af_ == AddressFamily::ipv6) {
      numberTo<8>(octets, hi_);
      numberTo<8>(octets + 8, lo_);
    }
  }
  /// Dotted quad, RFC 5952 text, or "unset".
  std::string text() const;
  std::uint32_t hash() const;

  /// Families order before values; within a family the order is numeric.
  friend constexpr std::strong_ordering operator<=>(const IpGenAddr& a, const IpGenAddr& b) {
    if (a.af_ != b.af_) return a.af_ <=> b.af_;
    return a.hi_ != b.hi_ ? a.hi_ <=> b.hi_ : a.lo_ <=> b.lo_;
  }
  friend constexpr bool operator==(const IpGenAddr&, const IpGenAddr&) = default;

 private:
  constexpr IpGenAddr(AddressFamily af, std::uint64_t hi, std::uint64_t lo)
      : hi_(hi), lo_(lo), af_(af) {}

  static constexpr std::uint64_t highBits(unsigned count) {
    return count == 0 ? 0 : count >= 64 ? ~std::uint64_t{0} : ~std::uint64_t{0} << (64 - count);
  }
  template <unsigned octets>
  static constexpr std::uint64_t number(const std::uint8_t* from) {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < octets; ++i) value |= std::uint64_t{from[i]} << 8 * (octets - 1 - i);
    return value;
  }
  template <unsigned octets>
  static constexpr void numberTo(std::uint8_t* to, std::uint64_t value) {
    for (unsigned i = 0; i < octets; ++i) {
      to[i] = static_cast<std::uint8_t>(value >> 8 * (octets - 1 - i));
    }
  }

  std::uint64_t hi_ = 0;
  std::uint64_t lo_ = 0;
  AddressFamily af_ = AddressFamily::unset;
};

ROUTING_API std::ostream& operator<<(std::ostream& out, const IpGenAddr& address);

}  // namespace Routing

template <>
struct std::hash<Routing::IpGenAddr> {
  std::size_t operator()(const Routing::IpGenAddr& a) const noexcept { return a.hash(); }
};
