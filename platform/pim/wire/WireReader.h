#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/net/IpGenPrefix.h"
#include "platform/pim/DropReason.h"
#include "platform/pim/wire/NetworkOrder.h"

namespace Routing::Pim {

/// An encoded group address as it came, host bits included.
struct EncodedGroup {
  std::uint8_t flags;
  std::uint8_t length;
  IpGenAddr address;
};

/// The fields of PIM messages, over what a reader has: take(n), the next octets, null if they are
/// not there, which never happens if allThere; af(), the family of all addresses; and require(),
/// which remembers what does not hold.
template <class Reader>
class WireFields {
 public:
  std::uint8_t u8() { return static_cast<std::uint8_t>(number<1>()); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(number<2>()); }
  std::uint32_t u32() { return number<4>(); }
  void skip(std::size_t count) { reader().take(count); }

  /// An encoded unicast address (RFC 7761 section 4.9.1) of this family; any value.
  IpGenAddr encodedUnicast() {
    familyAndEncoding();
    return address();
  }
  /// An encoded group address (RFC 7761 section 4.9.1) of this family, checked to be multicast.
  EncodedGroup encodedGroup() {
    familyAndEncoding();
    const EncodedGroup group{u8(), u8(), address()};
    const AddressFamily af = reader().af();
    const unsigned shortest = IpGenPrefix::multicast(af).length();
    reader().require(group.length <= addressBits(af), DropReason::maskTooLong);
    reader().require(group.length >= shortest && group.address.isMulticast(),
                     DropReason::notMulticastGroup);
    return group;
  }

 private:
  Reader& reader() { return static_cast<Reader&>(*this); }

  template <std::size_t octets>
  std::uint32_t number() {
    const std::uint8_t* const at = reader().take(octets);
    return !Reader::allThere && at == nullptr ? 0 : NetworkOrder<octets>::load(at);
  }
  IpGenAddr address() {
    const AddressFamily af = reader().af();
    const std::uint8_t* const at = reader().take(addressBytes(af));
    if (!Reader::allThere && at == nullptr) return {};
    if (af == AddressFamily::ipv4) return IpGenAddr::v4(NetworkOrder<4>::load(at));
    if (af != AddressFamily::ipv6) return {};
    return IpGenAddr::v6(NetworkOrder<8>::load(at), NetworkOrder<8>::load(at + 8));
  }
  void familyAndEncoding() {
    const std::uint16_t both = u16();
    reader().require(both >> 8 == static_cast<std::uint8_t>(reader().af()), DropReason::badFamily);
    reader().require((both & 0xff) == 0, DropReason::badEncoding);
  }
};

/// Reads the fields of a PIM message of one address family in order. The first failure sticks: from
/// then on the reader is at its end and every read yields zeros, so that a decoder reads straight
/// on and asks once, at the end, whether all went well.
class WireReader : public WireFields<WireReader> {
 public:
  static constexpr bool allThere = false;

  WireReader(std::span<const std::uint8_t> octets, AddressFamily af) : octets_(octets), af_(af) {}

  AddressFamily af() const { return af_; }
  std::size_t remaining() const { return octets_.size(); }
  bool atEnd() const { return octets_.empty(); }
  const std::uint8_t* position() const { return octets_.data(); }
  /// The first failure, none so far.
  std::optional<DropReason> failure() const { return failure_; }
  void fail(DropReason reason) {
    if (!failure_) failure_ = reason;
    octets_ = {};
  }
  /// Fails with `reason` unless the condition holds.
  void require(bool condition, DropReason reason) {
    if (!condition) [[unlikely]]
      fail(reason);
  }
  /// The next octets; null, and a failure, if there are fewer.
  const std::uint8_t* take(std::size_t count) {
    if (count > octets_.size()) [[unlikely]] {
      fail(DropReason::truncated);
      return nullptr;
    }
    const std::uint8_t* const taken = octets_.data();
    octets_ = octets_.subspan(count);
    return taken;
  }
  /// A reader of the next `count` octets, which this one leaves behind; empty on failure.
  WireReader sub(std::size_t count) {
    const std::uint8_t* const taken = take(count);
    return {taken == nullptr ? std::span<const std::uint8_t>{} : std::span{taken, count}, af_};
  }

 private:
  std::span<const std::uint8_t> octets_;
  AddressFamily af_;
  std::optional<DropReason> failure_;
};

/// Reads entries of which it is known that they are there, down to the last octet. Only says
/// whether they are what they should be; for the reason a WireReader reads them again.
template <AddressFamily family>
class EntryReader : public WireFields<EntryReader<family>> {
 public:
  static constexpr bool allThere = true;

  explicit EntryReader(const std::uint8_t* at) : at_(at) {}

  static constexpr AddressFamily af() { return family; }
  bool ok() const { return ok_; }
  void require(bool condition, DropReason) { ok_ = ok_ & condition; }
  const std::uint8_t* take(std::size_t count) {
    const std::uint8_t* const taken = at_;
    at_ += count;
    return taken;
  }

 private:
  const std::uint8_t* at_;
  bool ok_ = true;
};

}  // namespace Routing::Pim
