#include "platform/pim/wire/PimChecksum.h"

#include <bit>
#include <cstring>

#include "platform/pim/PimProtocol.h"

namespace Routing::Pim {
namespace {

// The sum of 16-bit words in the order of this machine: whichever it is, swapping the octets of the
// folded sum at the end makes it that of the wire (RFC 1071 section 2). 64 bits cannot overflow for
// anything that fits in memory.
std::uint64_t sumOfOctets(const std::uint8_t* at, std::size_t octets) {
  std::uint64_t sum = 0;
  for (; octets >= sizeof(std::uint32_t); octets -= sizeof(std::uint32_t)) {
    std::uint32_t word;
    std::memcpy(&word, at, sizeof word);
    sum += word;
    at += sizeof word;
  }
  std::uint32_t rest = 0;
  std::memcpy(&rest, at, octets);
  return sum + rest;
}

std::uint16_t folded(std::uint64_t sum) {
  while (sum > 0xffff) sum = (sum & 0xffff) + (sum >> 16);
  return static_cast<std::uint16_t>(sum);
}

std::uint16_t sumOfWords(std::span<const std::uint8_t> octets) {
  const std::uint16_t sum = folded(sumOfOctets(octets.data(), octets.size()));
  if constexpr (std::endian::native == std::endian::big) return sum;
  return static_cast<std::uint16_t>(sum << 8 | sum >> 8);
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
  return static_cast<std::uint16_t>(~folded(sum));
}

void pimChecksumIs(std::span<std::uint8_t> message, const IpGenAddr& source,
                   const IpGenAddr& destination) {
  message[2] = message[3] = 0;
  const std::uint16_t checksum = pimChecksum(message, source, destination);
  message[2] = static_cast<std::uint8_t>(checksum >> 8);
  message[3] = static_cast<std::uint8_t>(checksum);
}

}  // namespace Routing::Pim
