#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/net/IpGenPrefix.h"

namespace Routing::Pim {

/// Writes the fields of a PIM message of one address family in order, over whatever the buffer
/// held. A failure sticks, so that an encoder writes straight on and asks once, at the end.
class WireWriter {
 public:
  WireWriter(std::vector<std::uint8_t>& out, AddressFamily af) : out_(out), af_(af) {}

  AddressFamily af() const { return af_; }
  /// The message cannot be put on the wire.
  void fail() { ok_ = false; }
  /// Cuts the buffer to what was written, to nothing after a failure; true if all went well. Until
  /// then the buffer's size means nothing.
  bool finish() {
    out_.resize(ok_ ? used_ : 0);
    return ok_;
  }

  void u8(std::uint8_t value) { *next(1) = value; }
  void u16(std::uint16_t value) {
    std::uint8_t* at = next(2);
    at[0] = static_cast<std::uint8_t>(value >> 8);
    at[1] = static_cast<std::uint8_t>(value);
  }
  void u32(std::uint32_t value) {
    u16(static_cast<std::uint16_t>(value >> 16));
    u16(static_cast<std::uint16_t>(value));
  }
  /// An encoded unicast address (RFC 7761 section 4.9.1); one of another family is a failure.
  void encodedUnicast(const IpGenAddr& address);
  /// An encoded group address (RFC 7761 section 4.9.1); one of another family is a failure.
  void encodedGroup(const IpGenPrefix& prefix, std::uint8_t flags);

 private:
  std::uint8_t* next(std::size_t octets) {
    const std::size_t at = used_;
    used_ += octets;
    if (used_ > out_.size()) out_.resize(std::max(2 * out_.size(), used_));
    return out_.data() + at;
  }
  void address(const IpGenAddr& address);

  std::vector<std::uint8_t>& out_;
  AddressFamily af_;
  std::size_t used_ = 0;
  bool ok_ = true;
};

}  // namespace Routing::Pim
