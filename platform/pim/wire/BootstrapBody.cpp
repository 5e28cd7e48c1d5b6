// Layout: RFC 5059 section 4.1.

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "platform/pim/AddressChecks.h"
#include "platform/pim/wire/PimBodies.h"

namespace Routing::Pim {
namespace {

constexpr std::uint8_t noForwardBit = 0x80;
constexpr std::size_t checksumOctets = 2;
constexpr std::size_t rpTailOctets = 4;      // holdtime, priority, reserved
constexpr unsigned shortestScopedMask = 16;  // IPv6: up to the scope field
constexpr std::size_t mostRps = 255;         // the count fields have eight bits

constexpr std::size_t groupHeadOctets(AddressFamily af) {
  return 4 + addressBytes(af) + 4;
}
constexpr std::size_t rpOctets(AddressFamily af) {
  return 2 + addressBytes(af) + rpTailOctets;
}

// Entries are read into their places: a copy of what was just written in pieces costs as much as
// all the rest.
template <class Reader>
void readRp(Reader& reader, BootstrapRp& rp) {
  new (&rp.address) IpGenAddr(reader.encodedUnicast());
  reader.require(isDomainUnicast(rp.address), DropReason::badRpAddress);
  rp.data.rpHoldtimeIs(reader.u16());
  rp.data.rpPriorityIs(reader.u8());
  reader.skip(1);
}

template <AddressFamily af>
bool precedes(const IpGenAddr& a, const IpGenAddr& b) {
  if (af == AddressFamily::ipv4 || a.upper() != b.upper()) return a.upper() < b.upper();
  return a.lower() < b.lower();
}

// Seldom: routers send them in order.
bool sortUnique(BootstrapRp* first, BootstrapRp* end) {
  std::sort(first, end, [](const auto& a, const auto& b) { return a.address < b.address; });
  const auto sameAddress = [](const auto& a, const auto& b) { return a.address == b.address; };
  return std::adjacent_find(first, end, sameAddress) == end;
}

template <AddressFamily af>
bool precedes(const IpGenPrefix& a, const IpGenPrefix& b) {
  if (precedes<af>(a.address(), b.address())) return true;
  return a.address() == b.address() && a.length() < b.length();
}

template <AddressFamily af>
constexpr IpGenAddr unset = IpGenAddr::zero(af);  // precedes all others

template <AddressFamily af>
void readRps(WireReader& reader, BootstrapGroupData& group, RpArrays& arrays) {
  const unsigned count = group.fragRpCount();
  if (count * rpOctets(af) <= reader.remaining()) [[likely]] {
    BootstrapRp* const rps = arrays.room(count, reader.remaining() / rpOctets(af));
    EntryReader<af> entries(reader.position());
    bool inOrder = true;
    const IpGenAddr* before = &unset<af>;
    for (BootstrapRp* rp = rps; rp != rps + count; before = &rp++->address) {
      readRp(entries, *rp);
      inOrder = inOrder & precedes<af>(*before, rp->address);
    }
    if (entries.ok()) [[likely]] {
      reader.skip(count * rpOctets(af));
      reader.require(inOrder || sortUnique(rps, rps + count), DropReason::duplicateRp);
      return arrays.fill(group.rpList(), count);
    }
  }
  for (BootstrapRp rp; !reader.failure();) readRp(reader, rp);
}

bool scopeMaskOk(const EncodedGroup& first) {
  return !GroupFlags(first.flags).zone() || first.address.af() != AddressFamily::ipv6 ||
         first.length >= shortestScopedMask;
}

template <class Reader>
BootstrapGroupData& readGroupHead(Reader& reader, bool first, BootstrapGroups& groups) {
  const EncodedGroup encoded = reader.encodedGroup();
  reader.require(!first || scopeMaskOk(encoded), DropReason::scopedMaskTooShort);
  auto& group = groups.emplace_back(encoded.address, encoded.length, encoded.flags);
  group.rpCountIs(reader.u8());
  group.fragRpCountIs(reader.u8());
  reader.skip(2);
  reader.require(group.fragRpCount() <= group.rpCount(), DropReason::fragCountAboveCount);
  return group;
}

template <AddressFamily af>
BootstrapGroupData& readGroupHeadAs(WireReader& reader, BootstrapGroups& groups) {
  const bool first = groups.empty();
  if (reader.remaining() >= groupHeadOctets(af)) [[likely]] {
    EntryReader<af> head(reader.position());
    BootstrapGroupData& group = readGroupHead(head, first, groups);
    if (head.ok()) [[likely]] {
      reader.skip(groupHeadOctets(af));
      return group;
    }
  }
  return readGroupHead(reader, first, groups);
}

// Reassembly trusts RP Count as the size of a range's list, so all blocks of one range must agree.
bool rangesAgree(const BootstrapGroups& groups) {
  std::vector<const BootstrapGroupData*> sorted;
  sorted.reserve(groups.size());
  for (const auto& group : groups) sorted.push_back(&group);
  std::sort(sorted.begin(), sorted.end(),
            [](const auto* a, const auto* b) { return a->prefix() < b->prefix(); });
  std::size_t carried = 0;
  for (std::size_t i = 1; i < sorted.size(); ++i) {
    const auto &before = *sorted[i - 1], &now = *sorted[i];
    if (before.prefix() != now.prefix()) {
      carried = 0;
      continue;
    }
    carried += before.fragRpCount();
    if (now.rpCount() != before.rpCount()) return false;
    if (carried + now.fragRpCount() > now.rpCount()) return false;
  }
  return true;
}

// Most messages have ranges of one size: as many as if all carried as many RPs as the first one.
template <AddressFamily af>
std::size_t expectedGroups(const WireReader& reader) {
  if (reader.remaining() < groupHeadOctets(af)) return 1;
  const std::size_t rps = reader.position()[groupHeadOctets(af) - 3];
  return 1 + (reader.remaining() - 1) / (groupHeadOctets(af) + rps * rpOctets(af));
}

// --- the usual message of IPv4 ----------------------------------------------------------------
//
// Its entries begin with a number of 8 octets each. Where ranges and RPs are in order and of the
// most common kind they are read from those, far faster than field by field.

constexpr std::uint64_t familyAndEncodingV4 = static_cast<std::uint64_t>(AddressFamily::ipv4) << 8;

/// 1 for the first octets of IPv4 addresses not all of which can be reached from the whole domain:
/// isDomainUnicast().
constexpr auto otherFirstOctets = [] {
  std::array<std::uint8_t, 256> other{};
  for (const unsigned octet : {0, 127, 169}) other[octet] = 1;
  for (unsigned octet = 224; octet < 256; ++octet) other[octet] = 1;
  return other;
}();

// What is wrong is gathered, not branched on: this is where most octets of a message go through.
bool readPlainRps(const std::uint8_t* at, BootstrapRp* rps, unsigned count) {
  constexpr std::uint64_t upperBits = ~std::uint64_t{0} << 32;
  std::uint64_t faults = 0;
  std::uint64_t before = 0;
  unsigned ascents = 0;
  for (BootstrapRp* rp = rps; rp != rps + count; ++rp, at += rpOctets(AddressFamily::ipv4)) {
    const std::uint64_t head = NetworkOrder<8>::load(at);  // up to the hold time
    const std::uint64_t upper = head << 16 & upperBits;    // of the address
    new (rp) BootstrapRp{IpGenAddr::v4(static_cast<std::uint32_t>(upper >> 32)),
                         {static_cast<std::uint16_t>(head), at[8]}};
    faults |= (head >> 48 ^ familyAndEncodingV4) | otherFirstOctets[upper >> 56];
    ascents += before < upper;
    before = upper;
  }
  return faults == 0 && ascents == count;
}

/// The head of a range of IPv4, up to its address.
struct PlainGroup {
  explicit PlainGroup(const std::uint8_t* at) : head(NetworkOrder<8>::load(at)) {}

  auto address() const { return static_cast<std::uint32_t>(head); }
  auto length() const { return static_cast<std::uint8_t>(head >> 32); }
  auto flags() const { return static_cast<std::uint8_t>(head >> 40); }
  bool ok() const {
    constexpr IpGenPrefix all = IpGenPrefix::multicast(AddressFamily::ipv4);
    constexpr unsigned hostBits = 32 - all.length();
    constexpr std::uint64_t fixed = std::uint64_t{0xffff} << 48 | (0xffffffffU << hostBits);
    constexpr std::uint64_t wanted = familyAndEncodingV4 << 48 | all.address().v4Value();
    return (head & fixed) == wanted && length() - all.length() <= hostBits;
  }
  /// Orders ranges; valid if ok().
  std::uint64_t rank() const {
    const std::uint64_t mask = ~std::uint64_t{0} << (64 - length());
    return (head << 32 & mask) | length();
  }

  std::uint64_t head;
};

/// Reads ranges up to the first that is not as usual. By itself it has registers enough; what it
/// calls is in it, whatever else is compiled beside.
[[gnu::noinline, gnu::flatten]] void readPlainGroups(WireReader& reader, BootstrapGroups& groups,
                                                     RpArrays& arrays) {
  constexpr std::size_t headOctets = groupHeadOctets(AddressFamily::ipv4);
  constexpr std::size_t octetsOfRp = rpOctets(AddressFamily::ipv4);
  const std::uint8_t* at = reader.position();
  const std::uint8_t* const end = at + reader.remaining();
  const std::size_t expected = reader.remaining() / octetsOfRp;
  BootstrapRp* rps = arrays.room(expected, expected);
  std::uint64_t before = 0;
  while (static_cast<std::size_t>(end - at) >= headOctets) {
    const PlainGroup range(at);
    const std::uint8_t rpCount = at[headOctets - 4], count = at[headOctets - 3];
    const std::size_t octets = headOctets + count * octetsOfRp;
    if (!range.ok() || range.rank() <= before || count > rpCount) break;
    if (octets > static_cast<std::size_t>(end - at)) break;
    before = range.rank();
    auto& group =
        groups.emplace_back(IpGenAddr::v4(range.address()), range.length(), range.flags());
    group.rpCountIs(rpCount);
    group.fragRpCountIs(count);
    if (!readPlainRps(at + headOctets, rps, count)) {
      groups.pop_back();
      break;
    }
    arrays.fill(group.rpList(), rps, count);
    rps += count;
    at += octets;
  }
  reader.skip(at - reader.position());
  arrays.usedUpTo(rps);
}

template <AddressFamily af>
void readGroups(WireReader& reader, BootstrapMessage& bsm) {
  BootstrapGroups& groups = bsm.groupRpData();
  RpArrays arrays;
  bool inOrder = true;  // then no range occurs twice
  groups.reserve(expectedGroups<af>(reader));
  if constexpr (af == AddressFamily::ipv4) readPlainGroups(reader, groups, arrays);
  while (!reader.atEnd()) {
    BootstrapGroupData& group = readGroupHeadAs<af>(reader, groups);
    readRps<af>(reader, group, arrays);
    inOrder =
        inOrder && (groups.size() == 1 || precedes<af>((&group)[-1].prefix(), group.prefix()));
  }
  if (reader.failure() || inOrder) return;
  reader.require(rangesAgree(groups), DropReason::conflictingRange);
}

template <AddressFamily af>
void writeGroup(WireWriter& writer, const BootstrapGroupData& group) {
  const std::size_t carried = std::min(group.rpList().size(), mostRps);
  EntryWriter<af> entry(writer.next(groupHeadOctets(af) + carried * rpOctets(af)));
  entry.encodedGroup(group.prefix(), group.groupFlags());
  entry.u8(group.rpCount());
  entry.u8(static_cast<std::uint8_t>(carried));
  entry.u16(0);
  const auto* const end = group.rpList().begin() + carried;
  for (const auto* rp = group.rpList().begin(); rp != end; ++rp) {
    entry.encodedUnicast(rp->address);
    entry.u16(rp->data.rpHoldtime());
    entry.u8(rp->data.rpPriority());
    entry.u8(0);
  }
  if (!entry.ok()) writer.fail();
}

template <AddressFamily af>
void writeGroups(WireWriter& writer, const BootstrapGroups& groups) {
  for (const auto& group : groups) writeGroup<af>(writer, group);
}

}  // namespace

void readBody(WireReader& reader, BootstrapMessage& bsm) {
  bsm.forwardIs((reader.u8() & noForwardBit) == 0);
  reader.skip(checksumOctets);
  bsm.fragmentTagIs(reader.u16());
  bsm.hashMaskLenIs(reader.u8());
  reader.require(bsm.hashMaskLen() <= addressBits(reader.af()), DropReason::hashMaskTooLong);
  bsm.bsrPriorityIs(reader.u8());
  bsm.bsrAddressIs(reader.encodedUnicast());
  reader.require(isDomainUnicast(bsm.bsrAddress()), DropReason::badBsrAddress);
  if (reader.af() == AddressFamily::ipv4) {
    readGroups<AddressFamily::ipv4>(reader, bsm);
  } else {
    readGroups<AddressFamily::ipv6>(reader, bsm);
  }
}

void writeBody(WireWriter& writer, const BootstrapMessage& bsm) {
  writer.u8(bsm.forward() ? 0 : noForwardBit);
  writer.u16(0);
  writer.u16(bsm.fragmentTag());
  writer.u8(bsm.hashMaskLen());
  writer.u8(bsm.bsrPriority());
  writer.encodedUnicast(bsm.bsrAddress());
  if (writer.af() == AddressFamily::ipv4) {
    writeGroups<AddressFamily::ipv4>(writer, bsm.groupRpData());
  } else {
    writeGroups<AddressFamily::ipv6>(writer, bsm.groupRpData());
  }
}

}  // namespace Routing::Pim
