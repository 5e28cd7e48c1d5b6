#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <variant>
#include <vector>

#include "platform/Export.h"
#include "platform/pim/DropReason.h"
#include "platform/pim/wire/BootstrapMessage.h"
#include "platform/pim/wire/CrpAdvMessage.h"
#include "platform/pim/wire/HelloMessage.h"

namespace Routing::Pim {

/// A PIM message of a type that is not decoded here: to be ignored, no fault. Not even its checksum
/// is looked at (that of a Register does not cover the whole message).
struct OtherType {
  std::uint8_t type = 0;

  friend bool operator==(const OtherType&, const OtherType&) = default;
};

using DecodeResult = std::variant<std::shared_ptr<BootstrapMessage>, std::shared_ptr<CrpAdvMessage>,
                                  std::shared_ptr<HelloMessage>, OtherType, DropReason>;

/// Decodes the payload of one IP datagram of protocol 103, link-layer padding already removed. The
/// family is that of `source`; `destination` must share it (else badFamily). Every octet is taken
/// as hostile: nothing is thrown, and memory and time stay in proportion to the payload.
///
/// A decoded message holds `source` and `destination` and nothing the protocol forbids. What is
/// decided where the RFCs leave room:
/// - Any fault drops the whole message, also one in a single range, RP or option of many.
/// - A Hello must go to ALL-PIM-ROUTERS, a candidate-RP advertisement to a unicast address
///   (RFC 7761 section 4.9). A Bootstrap message may have any destination; its reader judges that.
/// - The datagram's source must be unicast. TTL and DSCP are not looked at.
/// - Reserved bits and octets and unassigned flag bits are ignored. The group flags octet is kept
///   whole, also a Z bit on a later range, so that a forwarded message carries it on.
/// - Host bits below the mask length are cleared.
/// - A Bootstrap message is read to its end: left-over octets are a truncated group block. Octets
///   behind the announced ranges of a candidate-RP advertisement are ignored.
/// - A range may occur twice in a Bootstrap message (its RPs in pieces) if both say the same RP
///   Count and carry no more RPs together.
/// - In a Hello the last of a repeated option counts; an unknown option is skipped.
ROUTING_API DecodeResult decode(std::span<const std::uint8_t> payload, const IpGenAddr& source,
                                const IpGenAddr& destination);

/// Encodes a message into `out`, replacing its content and keeping its capacity for reuse. `source`
/// and `destination` are those of the IP datagram that will carry it; for IPv6 they are part of the
/// checksum, so a message forwarded on several interfaces is encoded for each. A source of zero
/// value is fine where the kernel writes the checksum.
///
/// Returns false with `out` empty if the message cannot be put on the wire: an address in it is
/// unset or of another family than `destination`, or a Hello's address list is too long.
///
/// A Bootstrap message is written with rpCount() as stored and with the RPs that are in each list,
/// in key order, at most 255 of them. A candidate-RP advertisement is written with the first
/// prefixCount() of its ranges, or all if they are fewer.
[[nodiscard]] ROUTING_API bool encode(const PimMessage& message, const IpGenAddr& source,
                                      const IpGenAddr& destination, std::vector<std::uint8_t>& out);

/// As above with the addresses that the message holds.
[[nodiscard]] ROUTING_API bool encode(const PimMessage& message, std::vector<std::uint8_t>& out);

}  // namespace Routing::Pim
