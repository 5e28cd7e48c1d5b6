#include "platform/pim/wire/UsualRanges.h"

#include <array>

#include "platform/pim/wire/NetworkOrder.h"

// The entries of a range begin with a number of 8 octets each, from which they are read, far faster
// than field by field. Layout: RFC 5059 section 4.1.

namespace Routing::Pim {
namespace {

constexpr std::size_t octetsOfHead = 12;
constexpr std::size_t octetsOfRp = 10;
constexpr std::uint64_t familyAndEncoding = static_cast<std::uint64_t>(AddressFamily::ipv4) << 8;

/// 1 for the first octets of addresses not all of which can be reached from the whole domain:
/// isDomainUnicast().
constexpr auto otherFirstOctets = [] {
  std::array<std::uint8_t, 256> other{};
  for (const unsigned octet : {0, 127, 169}) other[octet] = 1;
  for (unsigned octet = 224; octet < 256; ++octet) other[octet] = 1;
  return other;
}();

/// The head of a range.
struct UsualHead {
  explicit UsualHead(const std::uint8_t* at)
      : head(NetworkOrder<8>::load(at)), rpCount(at[8]), count(at[9]) {}

  auto address() const { return static_cast<std::uint32_t>(head); }
  auto length() const { return static_cast<std::uint8_t>(head >> 32); }
  auto flags() const { return static_cast<std::uint8_t>(head >> 40); }
  /// 0 if nothing is at fault.
  std::uint64_t faults() const {
    constexpr IpGenPrefix all = IpGenPrefix::multicast(AddressFamily::ipv4);
    constexpr unsigned hostBits = 32 - all.length();
    constexpr std::uint64_t fixed = std::uint64_t{0xffff} << 48 | (0xffffffffU << hostBits);
    constexpr std::uint64_t wanted = familyAndEncoding << 48 | all.address().v4Value();
    const bool wrongLength = length() - all.length() > hostBits;
    return ((head & fixed) ^ wanted) | std::uint64_t{wrongLength} | std::uint64_t{count > rpCount};
  }
  /// Orders ranges with nothing at fault.
  std::uint64_t rank() const {
    const std::uint64_t mask = ~std::uint64_t{0} << ((64 - length()) & 63);
    return (head << 32 & mask) | length();
  }
  std::size_t octets() const { return octetsOfHead + count * octetsOfRp; }
  /// In its place: a copy of what was just written in pieces costs as much as all the rest.
  BootstrapGroupData& appendTo(BootstrapGroups& groups) const {
    auto& group = groups.emplace_back(IpGenAddr::v4(address()), length(), flags());
    group.rpCountIs(rpCount);
    group.fragRpCountIs(count);
    return group;
  }

  std::uint64_t head;
  std::uint8_t rpCount;
  std::uint8_t count;  // in this message
};

/// The first octets of an RP, up to its hold time.
struct UsualRp {
  explicit UsualRp(const std::uint8_t* at) : head(NetworkOrder<8>::load(at)) {}

  auto address() const { return static_cast<std::uint32_t>(head >> 16); }
  auto holdTime() const { return static_cast<std::uint16_t>(head); }
  /// 0 if nothing is.
  std::uint64_t faults() const {
    return (head >> 48 ^ familyAndEncoding) | otherFirstOctets[address() >> 24];
  }

  std::uint64_t head;
};

std::uint64_t faultsOfRps(const std::uint8_t* at, const std::uint8_t* end) {
  std::uint64_t faults = 0;
  std::uint32_t before = 0;
  for (; at != end; at += octetsOfRp) {
    const UsualRp rp(at);
    faults |= rp.faults() | std::uint64_t{rp.address() <= before};
    before = rp.address();
  }
  return faults;
}

/// How many ranges there are, if all are as usual; 0 if not. Faults are gathered, not branched on:
/// this is where most octets of a message go through.
[[gnu::noinline, gnu::flatten]] std::uint32_t usualRanges(const std::uint8_t* at,
                                                          const std::uint8_t* end) {
  std::uint64_t faults = 0;
  std::uint64_t before = 0;
  std::uint32_t ranges = 0;
  for (; at != end; ++ranges) {
    if (static_cast<std::size_t>(end - at) < octetsOfHead) return 0;
    const UsualHead range(at);
    faults |= range.faults() | std::uint64_t{range.rank() <= before};
    before = range.rank();
    if (range.octets() > static_cast<std::size_t>(end - at)) return 0;
    faults |= faultsOfRps(at + octetsOfHead, at + range.octets());
    at += range.octets();
  }
  return faults == 0 ? ranges : 0;
}

}  // namespace

UsualRanges UsualRanges::of(std::span<const std::uint8_t> octets) {
  const std::uint32_t ranges = usualRanges(octets.data(), octets.data() + octets.size());
  if (ranges == 0) return {};
  const std::size_t rps = (octets.size() - ranges * octetsOfHead) / octetsOfRp;
  return {octets, ranges, static_cast<std::uint32_t>(ranges + rps)};
}

UsualRanges::Head UsualRanges::first() const {
  const UsualHead first(block_);
  return {IpGenPrefix(IpGenAddr::v4(first.address()), first.length()), first.flags()};
}

BootstrapGroups UsualRanges::groups() const {
  BootstrapGroups groups;
  groups.reserve(ranges_);
  RpArrays arrays;
  const std::size_t rps = entries_ - ranges_;
  BootstrapRp* rp = arrays.room(rps, rps);
  for (const std::uint8_t* at = block_; at != block_ + size_;) {
    const UsualHead range(at);
    arrays.fill(range.appendTo(groups).rpList(), rp, range.count);
    const std::uint8_t* const end = at + range.octets();
    for (at += octetsOfHead; at != end; at += octetsOfRp, ++rp) {
      const UsualRp said(at);
      new (rp) BootstrapRp{IpGenAddr::v4(said.address()), {said.holdTime(), at[8]}};
    }
  }
  arrays.usedUpTo(rp);
  return groups;
}

}  // namespace Routing::Pim
