#pragma once

#include <bit>
#include <cstdint>
#include <span>
#include <string_view>

#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Sim {

/// A running 64-bit digest (FNV-1a over words) that is the same with every compiler.
class Digest {
 public:
  void add(std::uint64_t word) {
    value_ = (value_ ^ word) * 0x100000001b3;
    value_ ^= value_ >> 29;
  }
  void add(double value) { add(std::bit_cast<std::uint64_t>(value)); }
  void add(const IpGenAddr& address) {
    add(static_cast<std::uint64_t>(address.af()));
    add(address.upper());
    add(address.lower());
  }
  void add(const IpGenPrefix& prefix) {
    add(prefix.address());
    add(std::uint64_t{prefix.length()});
  }
  void add(std::span<const std::uint8_t> octets) {
    add(std::uint64_t{octets.size()});
    for (const std::uint8_t octet : octets) add(std::uint64_t{octet});
  }
  void add(std::string_view text) {
    add(std::uint64_t{text.size()});
    for (const char c : text) add(static_cast<std::uint64_t>(static_cast<unsigned char>(c)));
  }
  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 0xcbf29ce484222325;
};

}  // namespace Routing::Sim
