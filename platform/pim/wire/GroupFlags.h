#pragma once

#include <cstdint>

namespace Routing::Pim {

/// The flags octet of an encoded group address (RFC 5059 section 4). The reserved bits are kept as
/// they came, so that a forwarded message carries them on.
class GroupFlags {
 public:
  static constexpr std::uint8_t bidirFlag = 0x80;
  static constexpr std::uint8_t zoneFlag = 0x01;

  constexpr GroupFlags() = default;
  constexpr explicit GroupFlags(std::uint8_t value) : value_(value) {}

  constexpr std::uint8_t value() const { return value_; }
  /// The B bit: the range is for bidirectional PIM.
  constexpr bool bidir() const { return (value_ & bidirFlag) != 0; }
  /// The Z bit: the range is an administratively scoped zone.
  constexpr bool zone() const { return (value_ & zoneFlag) != 0; }

  friend constexpr bool operator==(GroupFlags, GroupFlags) = default;

 private:
  std::uint8_t value_ = 0;
};

}  // namespace Routing::Pim
