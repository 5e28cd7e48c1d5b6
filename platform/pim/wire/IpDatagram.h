#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/Export.h"
#include "platform/net/IpGenAddr.h"

namespace Routing::Pim {

/// The payload of an IP datagram and what of its header matters to PIM. The payload lies in the
/// octets that were given.
struct IpPayload {
  IpGenAddr source;
  IpGenAddr destination;
  std::uint8_t ttl = 0;  ///< IPv4 time to live or IPv6 hop limit
  std::span<const std::uint8_t> octets;
};

/// Strips an IPv4 header with its options, as a raw socket or a capture delivers it; octets behind
/// the total length (link-layer padding) are cut off. None if the datagram is not IPv4, of another
/// protocol, cut short, inconsistent in its lengths, or a fragment. The header checksum is not
/// looked at: the kernel has.
ROUTING_API std::optional<IpPayload> ipv4Payload(std::span<const std::uint8_t> datagram,
                                                 std::uint8_t protocol);

/// The same for IPv6. Datagrams with extension headers are not taken.
ROUTING_API std::optional<IpPayload> ipv6Payload(std::span<const std::uint8_t> datagram,
                                                 std::uint8_t nextHeader);

}  // namespace Routing::Pim
