#pragma once

#include <cstdint>
#include <span>

#include "platform/Export.h"
#include "platform/net/IpGenAddr.h"

namespace Routing::Pim {

/// The PIM checksum (RFC 7761 section 4.9) of a whole message as it would go into a zeroed checksum
/// field: over the octets as they are, the field's included. If `source` is an IPv6 address the
/// pseudo-header of source, destination, length and next header 103 is added; IPv4 has none. A
/// message with a correct checksum yields 0.
ROUTING_API std::uint16_t pimChecksum(std::span<const std::uint8_t> message,
                                      const IpGenAddr& source, const IpGenAddr& destination);

/// Writes the correct checksum into octets 2 and 3 of a message of at least four octets.
ROUTING_API void pimChecksumIs(std::span<std::uint8_t> message, const IpGenAddr& source,
                               const IpGenAddr& destination);

}  // namespace Routing::Pim
