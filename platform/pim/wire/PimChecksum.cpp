#include "platform/pim/wire/PimChecksum.h"

#include "platform/pim/PimProtocol.h"

namespace Routing::Pim {
namespace {

// A 64-bit sum of 16-bit words cannot overflow for anything that fits in memory.
std::uint64_t sumOfWords(std::span<const std::uint8_t> octets) {
  std::uint64_t sum = 0;
  std::size_t i = 0;
  for (; i + 1 < octets.size(); i += 2) sum += unsigned{octets[i]} << 8 | octets[i + 1];
  if (i < octets.size()) sum += unsigned{octets[i]} << 8;
  return sum;
}

std::uint64_t sumOfAddress(const IpGenAddr& address) {
  std::uint64_t sum = 0;
  for (unsigned shift = 0; shift < 64; shift += 16) {
    sum += (address.upper() >> shift & 0xffff) + (address.lower() >> shift & 0xffff);
  }
  return sum;
}

}  // namespace

std::uint16_t pimChecksum(std::span<const std::uint8_t> message, const IpGenAddr& source,
                          const IpGenAddr& destination) {
  std::uint64_t sum = sumOfWords(message);
  if (source.af() == AddressFamily::ipv6) {
    const std::uint64_t length = message.size();
    sum += sumOfAddress(source) + sumOfAddress(destination) + (length >> 16) + (length & 0xffff) +
           ipProtocol;
  }
  while (sum > 0xffff) sum = (sum & 0xffff) + (sum >> 16);
  return static_cast<std::uint16_t>(~sum);
}

void pimChecksumIs(std::span<std::uint8_t> message, const IpGenAddr& source,
                   const IpGenAddr& destination) {
  message[2] = message[3] = 0;
  const std::uint16_t checksum = pimChecksum(message, source, destination);
  message[2] = static_cast<std::uint8_t>(checksum >> 8);
  message[3] = static_cast<std::uint8_t>(checksum);
}

}  // namespace Routing::Pim
