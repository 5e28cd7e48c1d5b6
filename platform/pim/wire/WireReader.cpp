#include "platform/pim/wire/WireReader.h"

namespace Routing::Pim {

void WireReader::fail(DropReason reason) {
  if (!failure_) failure_ = reason;
  octets_ = {};
}

void WireReader::familyAndEncoding() {
  const std::uint16_t both = u16();
  require(both >> 8 == static_cast<unsigned>(af_), DropReason::badFamily);
  require((both & 0xff) == 0, DropReason::badEncoding);
}

IpGenAddr WireReader::address() {
  const auto octets = take(addressBytes(af_));
  return octets.empty() ? IpGenAddr{} : IpGenAddr::fromBytes(af_, octets.data());
}

IpGenAddr WireReader::encodedUnicast() {
  familyAndEncoding();
  return address();
}

EncodedGroup WireReader::encodedGroup() {
  familyAndEncoding();
  const std::uint8_t flags = u8();
  const std::uint8_t length = u8();
  const IpGenAddr group = address();
  require(length <= addressBits(af_), DropReason::maskTooLong);
  const IpGenPrefix prefix(group, length);
  require(IpGenPrefix::multicast(af_).contains(prefix), DropReason::notMulticastGroup);
  return {flags, prefix};
}

}  // namespace Routing::Pim
