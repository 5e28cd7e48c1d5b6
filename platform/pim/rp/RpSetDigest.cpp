#include "platform/pim/rp/RpSetDigest.h"

#include <array>

namespace Routing::Pim {
namespace {

/// FNV-1a in 64 bits.
class OctetHash {
 public:
  void octet(std::uint64_t value) { hash_ = (hash_ ^ (value & 0xff)) * 0x100000001b3; }
  void address(const IpGenAddr& address) {
    std::array<std::uint8_t, 16> octets{};
    address.toBytes(octets.data());
    for (unsigned i = 0; i < addressBytes(address.af()); ++i) octet(octets.at(i));
  }
  std::uint64_t mixed() const {
    std::uint64_t x = hash_;
    x = (x ^ x >> 30) * 0xbf58476d1ce4e5b9;
    x = (x ^ x >> 27) * 0x94d049bb133111eb;
    return x ^ x >> 31;
  }

 private:
  std::uint64_t hash_ = 0xcbf29ce484222325;
};

}  // namespace

RpMapping rpMapping(const IpGenPrefix& range, const RpEntry& rp) {
  return {.groupRange = range,
          .rp = rp.address(),
          .mode = static_cast<std::uint8_t>(rp.mode()),
          .priority = rp.priority().value(),
          .hashMaskLen = rp.hashMaskLen().value()};
}

std::vector<RpMapping> rpMappings(const RpCandidateStatus& status) {
  std::vector<RpMapping> mappings;
  for (const auto& [range, set] : status.crpSet()) {
    for (const auto& entry : set->rp()) mappings.push_back(rpMapping(range, *entry.second));
  }
  return mappings;
}

std::uint64_t rpMappingDigest(const RpMapping& mapping) {
  OctetHash hash;
  hash.address(mapping.groupRange.address());
  hash.octet(mapping.groupRange.length());
  hash.address(mapping.rp);
  hash.octet(mapping.mode == 2 ? 2 : 1);
  hash.octet(mapping.priority >> 8);
  hash.octet(mapping.priority);
  hash.octet(mapping.hashMaskLen);
  return hash.mixed();
}

std::uint64_t rpSetDigest(std::span<const RpMapping> mappings) {
  std::uint64_t sum = 0;
  for (const RpMapping& mapping : mappings) sum += rpMappingDigest(mapping);
  return sum;
}

std::uint64_t rpSetDigest(const RpCandidateStatus& status) {
  return rpSetDigest(rpMappings(status));
}

std::string rpSetDigestText(std::uint64_t digest) {
  std::string text(16, '0');
  for (auto digit = text.rbegin(); digit != text.rend(); ++digit, digest >>= 4) {
    *digit = "0123456789abcdef"[digest & 0xf];
  }
  return text;
}

}  // namespace Routing::Pim
