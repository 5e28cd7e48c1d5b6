#include "platform/pim/wire/IpDatagram.h"

namespace Routing::Pim {
namespace {

constexpr std::size_t shortestIpv4Header = 20;
constexpr std::size_t ipv6Header = 40;
constexpr unsigned moreFragmentsAndOffset = 0x3fff;

unsigned u16At(std::span<const std::uint8_t> octets, std::size_t at) {
  return unsigned{octets[at]} << 8 | octets[at + 1];
}

}  // namespace

std::optional<IpPayload> ipv4Payload(std::span<const std::uint8_t> datagram,
                                     std::uint8_t protocol) {
  if (datagram.size() < shortestIpv4Header || datagram[0] >> 4 != 4) return std::nullopt;
  const std::size_t header = 4U * (datagram[0] & 0x0f);
  const std::size_t total = u16At(datagram, 2);
  if (header < shortestIpv4Header || header > total || total > datagram.size()) return std::nullopt;
  if ((u16At(datagram, 6) & moreFragmentsAndOffset) != 0) return std::nullopt;
  if (datagram[9] != protocol) return std::nullopt;
  return IpPayload{IpGenAddr::fromBytes(AddressFamily::ipv4, &datagram[12]),
                   IpGenAddr::fromBytes(AddressFamily::ipv4, &datagram[16]), datagram[8],
                   datagram.subspan(header, total - header)};
}

std::optional<IpPayload> ipv6Payload(std::span<const std::uint8_t> datagram,
                                     std::uint8_t nextHeader) {
  if (datagram.size() < ipv6Header || datagram[0] >> 4 != 6) return std::nullopt;
  const std::size_t length = u16At(datagram, 4);
  if (length > datagram.size() - ipv6Header || datagram[6] != nextHeader) return std::nullopt;
  return IpPayload{IpGenAddr::fromBytes(AddressFamily::ipv6, &datagram[8]),
                   IpGenAddr::fromBytes(AddressFamily::ipv6, &datagram[24]), datagram[7],
                   datagram.subspan(ipv6Header, length)};
}

}  // namespace Routing::Pim
