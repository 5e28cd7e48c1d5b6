#include "platform/pim/wire/WireWriter.h"

namespace Routing::Pim {
namespace {
constexpr std::uint8_t nativeEncoding = 0;
}

void WireWriter::encodedUnicast(const IpGenAddr& unicast) {
  u8(static_cast<std::uint8_t>(af_));
  u8(nativeEncoding);
  address(unicast);
}

void WireWriter::encodedGroup(const IpGenPrefix& prefix, std::uint8_t flags) {
  u8(static_cast<std::uint8_t>(af_));
  u8(nativeEncoding);
  u8(flags);
  u8(static_cast<std::uint8_t>(prefix.length()));
  address(prefix.address());
}

void WireWriter::address(const IpGenAddr& address) {
  if (address.af() == af_) {
    address.toBytes(next(addressBytes(af_)));
  } else {
    fail();
  }
}

}  // namespace Routing::Pim
