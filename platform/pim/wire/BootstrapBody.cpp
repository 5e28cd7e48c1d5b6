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

template <AddressFamily af>
void readGroups(WireReader& reader, BootstrapMessage& bsm) {
  BootstrapGroups& groups = bsm.groupRpData();
  RpArrays arrays;
  bool inOrder = true;  // then no range occurs twice
  groups.reserve(expectedGroups<af>(reader));
  while (!reader.atEnd()) {
    BootstrapGroupData& group = readGroupHeadAs<af>(reader, groups);
    readRps<af>(reader, group, arrays);
    inOrder =
        inOrder && (groups.size() == 1 || precedes<af>((&group)[-1].prefix(), group.prefix()));
  }
  if (reader.failure() || inOrder) return;
  reader.require(rangesAgree(groups), DropReason::conflictingRange);
}

// False, and nothing is read, if there is anything unusual about them.
bool keepUsual(WireReader& reader, BootstrapMessage& bsm) {
  UsualRanges usual = UsualRanges::of({reader.position(), reader.remaining()});
  if (usual.empty()) return false;
  reader.skip(reader.remaining());
  bsm.usualRangesIs(std::move(usual));
  return true;
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
    if (!keepUsual(reader, bsm)) readGroups<AddressFamily::ipv4>(reader, bsm);
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
