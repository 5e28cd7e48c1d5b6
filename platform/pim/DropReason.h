#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "platform/Export.h"

namespace Routing::Pim {

/// Why received octets were dropped. Where one message has several faults, the reason is the first
/// one met: datagram addresses, header, checksum, then the body in wire order.
enum class DropReason : std::uint8_t {
  shortHeader,          ///< fewer than the four octets of a PIM header
  badVersion,           ///< PIM version other than 2 (RFC 7761 section 4.9)
  badChecksum,          ///< checksum wrong
  badSource,            ///< datagram source unset, multicast or broadcast
  wrongDestination,     ///< destination class not allowed for the type (RFC 7761 section 4.9)
  truncated,            ///< the message ends inside a field, group block, RP entry or Hello option
  badFamily,            ///< an address of unknown family or of another one than the datagram's
  badEncoding,          ///< encoded address with an encoding type other than 0
  maskTooLong,          ///< mask length above the address length
  hashMaskTooLong,      ///< hash mask length above the address length
  notMulticastGroup,    ///< group range not inside 224.0.0.0/4 or ff00::/8
  scopedMaskTooShort,   ///< scoped IPv6 BSM whose first mask is below 16 (RFC 5059 section 3.1)
  badBsrAddress,        ///< BSR address unset, multicast, broadcast, loopback or link-local
  badRpAddress,         ///< RP address unset, multicast, broadcast, loopback or link-local
  fragCountAboveCount,  ///< Frag RP Cnt above RP Count
  duplicateRp,          ///< one RP twice in a group block
  conflictingRange,     ///< a range repeated with another RP Count or with more RPs than announced
  badOptionLength,      ///< a known Hello option of a length it cannot have
  badSecondaryAddress,  ///< Hello address list with an unset, multicast or broadcast address
};

/// Number of reasons, for arrays of counters indexed by the reason.
inline constexpr std::size_t dropReasonCount = 19;

/// Name of the reason for counters and traces, such as "bad-checksum".
ROUTING_API std::string_view dropReasonText(DropReason reason);
ROUTING_API std::ostream& operator<<(std::ostream& out, DropReason reason);

}  // namespace Routing::Pim
