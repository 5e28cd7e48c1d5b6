#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/pim/RpCandidateStatus.h"
#include "platform/pim/rp/RpSelection.h"

/// A number that says whether two routers choose the same RP for every group: it covers the range,
/// RP, mode, priority and hash mask length of all mappings, and no time.
///
/// The digest of a set is the sum of those of its mappings modulo 2^64, 0 for an empty one: the
/// order does not matter, and who follows a set adds what comes and subtracts what goes. The digest
/// of one mapping is FNV-1a in 64 bits over the octets
///
///   range's address (4 or 16), its length (1), RP's address (4 or 16), mode (1: 2 is
///   bidirectional, 1 all else), priority (2, in network order), hash mask length (1)
///
/// whose bits are then mixed: x ^= x >> 30; x *= 0xbf58476d1ce4e5b9; x ^= x >> 27;
/// x *= 0x94d049bb133111eb; x ^= x >> 31. It finds differences, it does not resist forgery.
namespace Routing::Pim {

/// An RP of a range as RP selection sees it.
ROUTING_API RpMapping rpMapping(const IpGenPrefix& range, const RpEntry& rp);
/// The mappings of a group-to-RP set, by range and then by RP.
ROUTING_API std::vector<RpMapping> rpMappings(const RpCandidateStatus& status);

ROUTING_API std::uint64_t rpMappingDigest(const RpMapping& mapping);
ROUTING_API std::uint64_t rpSetDigest(std::span<const RpMapping> mappings);
ROUTING_API std::uint64_t rpSetDigest(const RpCandidateStatus& status);
/// Sixteen hexadecimal digits, as all views show a digest.
ROUTING_API std::string rpSetDigestText(std::uint64_t digest);

}  // namespace Routing::Pim
