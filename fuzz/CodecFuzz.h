#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/pim/PimProtocol.h"

namespace Routing::Fuzz {

/// Decodes fuzzed octets as a message of one type. The first octet is no part of the message: its
/// bit 0 chooses the family (set: IPv6), its bit 1 leaves the checksum as it is instead of putting
/// it right. Aborts, with the fault printed, if the decoded message holds what the protocol forbids
/// or is another one after being written and read back.
void codecFuzz(Pim::PimType type, const std::uint8_t* data, std::size_t size);

}  // namespace Routing::Fuzz
