// Layout: RFC 5059 section 4.1.

#include <algorithm>
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

BootstrapRp readRp(WireReader& reader) {
  const IpGenAddr address = reader.encodedUnicast();
  reader.require(isDomainUnicast(address), DropReason::badRpAddress);
  const std::uint16_t holdtime = reader.u16();
  const std::uint8_t priority = reader.u8();
  reader.skip(1);
  return {address, {holdtime, priority}};
}

BootstrapRpList readRps(WireReader& reader, unsigned count) {
  const std::size_t entry = 2 + addressBytes(reader.af()) + rpTailOctets;
  std::vector<BootstrapRp> rps;
  rps.reserve(std::min<std::size_t>(count, reader.remaining() / entry));
  for (unsigned i = 0; i < count && !reader.failure(); ++i) rps.push_back(readRp(reader));
  auto list = BootstrapRpList::fromRps(std::move(rps));
  reader.require(list.has_value(), DropReason::duplicateRp);
  return std::move(list).value_or(BootstrapRpList{});
}

bool scopeMaskOk(const EncodedGroup& first) {
  return !GroupFlags(first.flags).zone() || first.prefix.af() != AddressFamily::ipv6 ||
         first.prefix.length() >= shortestScopedMask;
}

BootstrapGroupData readGroup(WireReader& reader, bool first) {
  const EncodedGroup encoded = reader.encodedGroup();
  reader.require(!first || scopeMaskOk(encoded), DropReason::scopedMaskTooShort);
  BootstrapGroupData group(encoded.prefix, encoded.flags);
  group.rpCountIs(reader.u8());
  group.fragRpCountIs(reader.u8());
  reader.skip(2);
  reader.require(group.fragRpCount() <= group.rpCount(), DropReason::fragCountAboveCount);
  group.rpListIs(readRps(reader, group.fragRpCount()));
  return group;
}

bool ascending(const std::vector<BootstrapGroupData>& groups) {
  const auto outOfOrder = [](const auto& a, const auto& b) { return a.prefix() >= b.prefix(); };
  return std::adjacent_find(groups.begin(), groups.end(), outOfOrder) == groups.end();
}

// Reassembly trusts RP Count as the size of a range's list, so all blocks of one range must agree.
bool rangesAgree(const std::vector<BootstrapGroupData>& groups) {
  if (ascending(groups)) return true;  // no range occurs twice
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

void readGroups(WireReader& reader, BootstrapMessage& bsm) {
  while (!reader.atEnd()) {
    bsm.groupRpDataAppend(readGroup(reader, bsm.groupRpData().empty()));
  }
  if (!reader.failure()) {
    reader.require(rangesAgree(bsm.groupRpData()), DropReason::conflictingRange);
  }
}

void writeGroup(WireWriter& writer, const BootstrapGroupData& group) {
  const std::size_t carried = std::min(group.rpList().size(), mostRps);
  writer.encodedGroup(group.prefix(), group.groupFlags());
  writer.u8(group.rpCount());
  writer.u8(static_cast<std::uint8_t>(carried));
  writer.u16(0);
  for (std::size_t i = 0; i < carried; ++i) {
    const auto& [address, rp] = group.rpList().begin()[static_cast<std::ptrdiff_t>(i)];
    writer.encodedUnicast(address);
    writer.u16(rp.rpHoldtime());
    writer.u8(rp.rpPriority());
    writer.u8(0);
  }
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
  readGroups(reader, bsm);
}

void writeBody(WireWriter& writer, const BootstrapMessage& bsm) {
  writer.u8(bsm.forward() ? 0 : noForwardBit);
  writer.u16(0);
  writer.u16(bsm.fragmentTag());
  writer.u8(bsm.hashMaskLen());
  writer.u8(bsm.bsrPriority());
  writer.encodedUnicast(bsm.bsrAddress());
  for (const auto& group : bsm.groupRpData()) writeGroup(writer, group);
}

}  // namespace Routing::Pim
