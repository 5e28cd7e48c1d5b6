#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/net/IpGenPrefix.h"
#include "platform/pim/DropReason.h"

namespace Routing::Pim {

/// An encoded group address: its flags octet and its prefix with host bits cleared.
struct EncodedGroup {
  std::uint8_t flags = 0;
  IpGenPrefix prefix;
};

/// Reads the fields of a PIM message of one address family in order. The first failure sticks: from
/// then on the reader is at its end and every read yields zeros, so that a decoder reads straight
/// on and asks once, at the end, whether all went well.
class WireReader {
 public:
  WireReader(std::span<const std::uint8_t> octets, AddressFamily af) : octets_(octets), af_(af) {}

  AddressFamily af() const { return af_; }
  std::size_t remaining() const { return octets_.size(); }
  bool atEnd() const { return octets_.empty(); }
  /// The first failure, none so far.
  std::optional<DropReason> failure() const { return failure_; }
  void fail(DropReason reason);
  /// Fails with `reason` unless the condition holds.
  void require(bool condition, DropReason reason) {
    if (!condition) fail(reason);
  }

  std::uint8_t u8() { return static_cast<std::uint8_t>(number<1>()); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(number<2>()); }
  std::uint32_t u32() { return number<4>(); }
  void skip(std::size_t count) { take(count); }
  /// A reader of the next `count` octets, which this one leaves behind; empty on failure.
  WireReader sub(std::size_t count) { return {take(count), af_}; }

  /// An encoded unicast address (RFC 7761 section 4.9.1) of this family; any value.
  IpGenAddr encodedUnicast();
  /// An encoded group address (RFC 7761 section 4.9.1) of this family, checked to be multicast.
  EncodedGroup encodedGroup();

 private:
  std::span<const std::uint8_t> take(std::size_t count) {
    if (count > octets_.size()) {
      fail(DropReason::truncated);
      return {};
    }
    const auto taken = octets_.first(count);
    octets_ = octets_.subspan(count);
    return taken;
  }

  template <std::size_t octets>
  std::uint32_t number() {
    std::uint32_t value = 0;
    for (const std::uint8_t octet : take(octets)) value = value << 8 | octet;
    return value;
  }

  void familyAndEncoding();
  IpGenAddr address();

  std::span<const std::uint8_t> octets_;
  AddressFamily af_;
  std::optional<DropReason> failure_;
};

}  // namespace Routing::Pim
