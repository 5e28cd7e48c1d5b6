// Layout: RFC 7761 section 4.9.2.

#include <vector>

#include "platform/pim/AddressChecks.h"
#include "platform/pim/wire/PimBodies.h"

namespace Routing::Pim {
namespace {

constexpr std::size_t longestOption = 0xffff;
constexpr std::uint16_t tBit = 0x8000;

enum class Option : std::uint16_t {
  holdtime = 1,
  lanPruneDelay = 2,
  drPriority = 19,
  generationId = 20,
  addressList = 24,
};

void requireLength(WireReader& value, std::size_t octets) {
  value.require(value.remaining() == octets, DropReason::badOptionLength);
}

LanPruneDelay readLanPruneDelay(WireReader& value) {
  const std::uint16_t first = value.u16();
  const std::uint16_t overrideInterval = value.u16();
  return {(first & tBit) != 0, static_cast<std::uint16_t>(first & ~tBit), overrideInterval};
}

std::vector<IpGenAddr> readAddressList(WireReader& value) {
  std::vector<IpGenAddr> addresses;
  addresses.reserve(value.remaining() / (2 + addressBytes(value.af())));
  while (!value.atEnd()) {
    const IpGenAddr address = value.encodedUnicast();
    value.require(isUnicast(address), DropReason::badSecondaryAddress);
    addresses.push_back(address);
  }
  return addresses;
}

void readOption(WireReader& value, Option option, HelloMessage& hello) {
  switch (option) {
    case Option::holdtime:
      requireLength(value, 2);
      hello.holdtimeIs(value.u16());
      break;
    case Option::lanPruneDelay:
      requireLength(value, 4);
      hello.lanPruneDelayIs(readLanPruneDelay(value));
      break;
    case Option::drPriority:
      requireLength(value, 4);
      hello.drPriorityIs(value.u32());
      break;
    case Option::generationId:
      requireLength(value, 4);
      hello.generationIdIs(value.u32());
      break;
    case Option::addressList:
      requireLength(value, value.remaining() / (2 + addressBytes(value.af())) *
                               (2 + addressBytes(value.af())));
      hello.addressListIs(readAddressList(value));
      break;
    default:
      break;  // not for us (RFC 7761 section 4.9.2)
  }
}

void writeOptionHeader(WireWriter& writer, Option option, std::size_t length) {
  if (length > longestOption) writer.fail();
  writer.u16(static_cast<std::uint16_t>(option));
  writer.u16(static_cast<std::uint16_t>(length));
}

void writeLanPruneDelay(WireWriter& writer, const LanPruneDelay& delay) {
  writeOptionHeader(writer, Option::lanPruneDelay, 4);
  writer.u16(
      static_cast<std::uint16_t>((delay.tBit ? tBit : 0) | (delay.propagationDelay & ~tBit)));
  writer.u16(delay.overrideInterval);
}

void writeNumber(WireWriter& writer, Option option, std::uint32_t number) {
  writeOptionHeader(writer, option, 4);
  writer.u32(number);
}

void writeAddressList(WireWriter& writer, const std::vector<IpGenAddr>& addresses) {
  writeOptionHeader(writer, Option::addressList,
                    addresses.size() * (2 + addressBytes(writer.af())));
  for (const auto& address : addresses) writer.encodedUnicast(address);
}

}  // namespace

void readBody(WireReader& reader, HelloMessage& hello) {
  reader.skip(flagAndChecksumOctets);
  while (!reader.atEnd()) {
    const auto option = static_cast<Option>(reader.u16());
    WireReader value = reader.sub(reader.u16());
    if (!reader.failure()) readOption(value, option, hello);
    if (value.failure()) reader.fail(*value.failure());
  }
}

void writeBody(WireWriter& writer, const HelloMessage& hello) {
  writer.u8(0);
  writer.u16(0);
  if (hello.holdtime()) {
    writeOptionHeader(writer, Option::holdtime, 2);
    writer.u16(*hello.holdtime());
  }
  if (hello.lanPruneDelay()) writeLanPruneDelay(writer, *hello.lanPruneDelay());
  if (hello.drPriority()) writeNumber(writer, Option::drPriority, *hello.drPriority());
  if (hello.generationId()) writeNumber(writer, Option::generationId, *hello.generationId());
  if (!hello.addressList().empty()) writeAddressList(writer, hello.addressList());
}

}  // namespace Routing::Pim
