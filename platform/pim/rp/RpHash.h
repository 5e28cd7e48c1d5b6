#pragma once

#include <cstdint>

#include "platform/Export.h"
#include "platform/net/IpGenAddr.h"

namespace Routing::Pim {

/// The hash value of an RP for a group, in 0 .. 2^31 - 1 (RFC 7761 section 4.7.2): among the RPs of
/// equal rank the one with the highest value serves the group. The group's bits from `maskLen` on
/// are ignored; a length beyond the address masks nothing. An IPv6 address enters as the XOR of its
/// four 32-bit words; the group is masked over its 128 bits before that. The topmost bit of the
/// RP's 32 cannot influence the value.
ROUTING_API std::uint32_t rpHashValue(const IpGenAddr& group, unsigned maskLen,
                                      const IpGenAddr& rp);

}  // namespace Routing::Pim
