#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/net/IpGenPrefix.h"
#include "platform/pim/wire/NetworkOrder.h"

namespace Routing::Pim {

/// Writes the fields of a PIM message over what a writer has: next(n), where the next octets go;
/// af(), the family of all addresses; fail(), which sticks.
template <class Writer>
class WireOutFields {
 public:
  void u8(std::uint8_t value) { *writer().next(1) = value; }
  void u16(std::uint16_t value) { NetworkOrder<2>::store(writer().next(2), value); }
  void u32(std::uint32_t value) {
    u16(static_cast<std::uint16_t>(value >> 16));
    u16(static_cast<std::uint16_t>(value));
  }
  /// An encoded unicast address (RFC 7761 section 4.9.1); one of another family is a failure.
  void encodedUnicast(const IpGenAddr& unicast) {
    familyAndEncoding();
    address(unicast);
  }
  /// An encoded group address (RFC 7761 section 4.9.1); one of another family is a failure.
  void encodedGroup(const IpGenPrefix& prefix, std::uint8_t flags) {
    familyAndEncoding();
    u8(flags);
    u8(static_cast<std::uint8_t>(prefix.length()));
    address(prefix.address());
  }

 private:
  static constexpr std::uint8_t nativeEncoding = 0;

  Writer& writer() { return static_cast<Writer&>(*this); }
  void familyAndEncoding() {
    u8(static_cast<std::uint8_t>(writer().af()));
    u8(nativeEncoding);
  }
  void address(const IpGenAddr& address) {
    const AddressFamily af = writer().af();
    std::uint8_t* const at = writer().next(addressBytes(af));
    if (address.af() != af) writer().fail();
    if (af == AddressFamily::ipv4) {
      NetworkOrder<4>::store(at, address.v4Value());
    } else if (af == AddressFamily::ipv6) {
      NetworkOrder<8>::store(at, address.upper());
      NetworkOrder<8>::store(at + 8, address.lower());
    }
  }
};

/// Writes entries into room that was made for them.
template <AddressFamily family>
class EntryWriter : public WireOutFields<EntryWriter<family>> {
 public:
  explicit EntryWriter(std::uint8_t* at) : at_(at) {}

  static constexpr AddressFamily af() { return family; }
  bool ok() const { return ok_; }
  void fail() { ok_ = false; }
  std::uint8_t* next(std::size_t octets) {
    std::uint8_t* const at = at_;
    at_ += octets;
    return at;
  }

 private:
  std::uint8_t* at_;
  bool ok_ = true;
};

/// Writes a PIM message of one address family in order, over whatever the buffer held. A failure
/// sticks, so that an encoder writes straight on and asks once, at the end.
class WireWriter : public WireOutFields<WireWriter> {
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
  /// Where the next octets go; until the next call.
  std::uint8_t* next(std::size_t octets) {
    const std::size_t at = used_;
    used_ += octets;
    if (used_ > out_.size()) [[unlikely]]
      grow();
    return out_.data() + at;
  }

 private:
  static constexpr std::size_t leastRoom = 256;

  void grow() { out_.resize(std::max({leastRoom, 2 * out_.size(), used_})); }

  std::vector<std::uint8_t>& out_;
  AddressFamily af_;
  std::size_t used_ = 0;
  bool ok_ = true;
};

}  // namespace Routing::Pim
