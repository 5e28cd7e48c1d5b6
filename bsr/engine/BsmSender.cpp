#include "bsr/engine/BsmSender.h"

#include <algorithm>
#include <utility>

#include "bsr/engine/FirstFit.h"
#include "bsr/engine/RpSets.h"
#include "bsr/types/Traces.h"
#include "bsr/types/ZoneRules.h"
#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {
namespace {

constexpr std::uint32_t mtuUnknownV4 = 1500;
constexpr std::uint32_t mtuUnknownV6 = 1280;

using Rps = std::vector<std::shared_ptr<RpEntry>>;

/// The RPs of a range to announce, by address: all that one entry has room for. Where more are
/// held, because some were displaced and wait to be withdrawn, those that others know longest are
/// left out, since leaving out takes nothing away; the withdrawn ones get at most half the room, so
/// that nobody runs out of RPs meanwhile.
Rps announced(const RpCandidateSet& rpSet) {
  Rps live;
  Rps withdrawn;
  for (const auto& [address, rp] : rpSet.rp()) {
    (rp->holdTime().value() == 0 ? withdrawn : live).push_back(rp);
  }
  const auto keep = [](Rps& rps, std::size_t count, const auto& before) {
    if (rps.size() <= count) return;
    std::stable_sort(rps.begin(), rps.end(), before);
    rps.resize(count);
  };
  keep(live, maxRpsOfRange,
       [](const auto& a, const auto& b) { return a->priority().value() < b->priority().value(); });
  const std::size_t forWithdrawn =
      std::max(std::min(withdrawn.size(), maxRpsOfRange / 2), maxRpsOfRange - live.size());
  withdrawn.resize(std::min(withdrawn.size(), forWithdrawn));
  keep(live, maxRpsOfRange - withdrawn.size(),
       [](const auto& a, const auto& b) { return a->setupTime() > b->setupTime(); });
  live.insert(live.end(), withdrawn.begin(), withdrawn.end());
  std::sort(live.begin(), live.end(),
            [](const auto& a, const auto& b) { return a->address() < b->address(); });
  return live;
}

}  // namespace

BsmSender::BsmSender(std::shared_ptr<const Status> bsrStatus,
                     std::shared_ptr<const PimStatus> pimStatus,
                     std::shared_ptr<PimBsmStatus> bsmStatus,
                     std::shared_ptr<const AllIntfStatusDir> allIntfStatusDir,
                     std::function<void(const IntfId&)> sentOn)
    : bsrStatus_(std::move(bsrStatus)),
      pimStatus_(std::move(pimStatus)),
      bsmStatus_(std::move(bsmStatus)),
      allIntfStatusDir_(std::move(allIntfStatusDir)),
      sentOn_(std::move(sentOn)),
      globalZone_(IpGenPrefix::multicast(bsrStatus_->af())) {}

// --- building ---------------------------------------------------------------------------------

bool BsmSender::doAddGroupData(BootstrapMessage& bsm, const RpCandidateSet* rpSet,
                               const IpGenPrefix& groupPrefix, std::uint8_t flags, double now,
                               const Again& again) {
  BootstrapGroupData group(groupPrefix, flags);
  if (rpSet == nullptr) {
    if (GroupFlags(flags).zone()) {
      BSR_TRACE(sm, 8, "Adding Zone ", groupPrefix);
    } else {
      BSR_TRACE(sm, 8, "No zone or CRP set");
    }
    bsm.groupRpDataAppend(std::move(group));
    return true;
  }
  BSR_TRACE(sm, 8, "Adding CRP prefix ", groupPrefix, " in BSM");
  const std::size_t held = rpSet->rp().size();
  const Rps rps = announced(*rpSet);
  if (rps.size() < held) {
    BSR_TRACE(sm, 3, "Announcing ", rps.size(), " of ", held, " RPs of ", groupPrefix);
  }
  for (const auto& rp : rps) {
    const std::uint8_t bidir = rp->mode() == PimMode::bidirectional ? GroupFlags::bidirFlag : 0;
    group.groupFlagsIs(bidir | (flags & ~GroupFlags::bidirFlag));
    group.rpList().rpIs(
        rp->address(), {rp->holdTime().value(), static_cast<std::uint8_t>(rp->priority().value())});
  }
  group.rpCountIs(static_cast<std::uint8_t>(rps.size()));
  group.fragRpCountIs(group.rpCount());
  bsm.groupRpDataAppend(std::move(group));
  for (const auto& rp : rps) {
    if (rp->holdTime().value() != 0 || (again && again(*rp))) continue;
    BSR_TRACE(sm, 5, "RP ", rp->address(), " to expire now since holdtime is 0");
    rp->expiryTimeIs(now);
  }
  BSR_TRACE(sm, 8, "RP count in BSM is ", rps.size());
  return rps.size() == held;
}

std::uint32_t BsmSender::doComputeBsmLength(const BootstrapMessage& bsm) const {
  std::uint32_t rps = 0;
  for (const auto& group : bsm.groupRpData()) rps += group.rpCount();
  const auto groups = static_cast<std::uint32_t>(bsm.groupRpData().size());
  BSR_TRACE(sm, 1, "Number of Groups: ", groups, ", Total number of RPs: ", rps);
  return fixedLength + groupLength * groups + rpLength * rps;
}

// --- sending ----------------------------------------------------------------------------------

bool BsmSender::forwardBsm(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm,
                           const Turn* turn) {
  const std::uint32_t length = doComputeBsmLength(*bsm);
  BSR_TRACE(sm, 1, "BSM length is ", length);
  std::vector<IntfId, PoolAllocator<IntfId>> interfaces;
  interfaces.reserve(pimStatus_->pimIntf().size());
  for (const auto& entry : pimStatus_->pimIntf()) interfaces.push_back(entry.first);
  Pass bsmFragments;
  bool sent = false;
  for (const IntfId& intf : interfaces) {
    if (ended_ || (turn != nullptr && !turn->goesOn())) break;
    if (!eligible(zone, intf)) continue;
    const std::uint32_t mtu = mtuOf(intf);
    sentOn_(intf);
    sent = true;
    if (length > mtu) {
      fragmentAndSendBsm(zone, mtu, length, intf, bsm, bsmFragments);
      continue;
    }
    write(intf, bsm);
    BSR_TRACE(sm, 1, " Forwarding BSM to oif=", intf, " for zone ", zone);
  }
  return sent;
}

bool BsmSender::eligible(const IpGenPrefix& zone, const IntfId& intf) const {
  const auto& pimIntf = pimStatus_->pimIntf(intf);
  return pimIntf && pimIntf->up() && !pimIntf->neighbor().empty() &&
         allIntfStatusDir_->intfStatus(intf) && !isBorder(*bsrStatus_, zone, intf);
}

void BsmSender::doSendTriggeredBsm(const IpGenPrefix& zone, bool forward, const IntfId& oif,
                                   const std::shared_ptr<BootstrapMessage>& bsm) {
  if (isBorder(*bsrStatus_, zone, oif)) return;
  const auto message = withForward(bsm, forward);
  const std::uint32_t length = doComputeBsmLength(*message);
  const std::uint32_t mtu = mtuOf(oif);
  BSR_TRACE(sm, 1, "Sending BSM along oif=", oif, " for zone ", zone, " with forward bit set to ",
            forward ? "True" : "False");
  Pass bsmFragments;
  if (length > mtu) {
    fragmentAndSendBsm(zone, mtu, length, oif, message, bsmFragments);
  } else {
    write(oif, message);
  }
}

std::uint32_t BsmSender::mtuOf(const IntfId& intf) const {
  const auto& status = allIntfStatusDir_->intfStatus(intf);
  const std::uint32_t mtu = status ? status->mtu() : 0;
  BSR_TRACE(sm, 8, "MTU of interface ", intf, " is ", mtu);
  if (mtu != 0) return mtu;
  return bsrStatus_->af() == AddressFamily::ipv6 ? mtuUnknownV6 : mtuUnknownV4;
}

void BsmSender::fragmentAndSendBsm(const IpGenPrefix& zone, std::uint32_t mtu,
                                   std::uint32_t totalBsmLength, const IntfId& oif,
                                   const std::shared_ptr<BootstrapMessage>& bsm,
                                   Pass& bsmFragments) {
  auto it = bsmFragments.find(mtu);
  if (it == bsmFragments.end()) {
    it = bsmFragments.emplace(mtu, fragmentBsm(zone, mtu, totalBsmLength, *bsm)).first;
  }
  if (it->second.fragment.empty()) {
    BSR_TRACE(sm, 1, "MTU ", mtu, " of interface ", oif, " is too small for fragments");
    write(oif, bsm);
    return;
  }
  for (const PimBsrTxFragment& fragment : it->second.fragment) {
    if (ended_) return;
    write(oif, fragment.bsm);
    BSR_TRACE(sm, 1, " Forwarding BSM fragment to oif=", oif, " for zone ", zone);
  }
}

void BsmSender::write(const IntfId& oif, const std::shared_ptr<BootstrapMessage>& bsm) {
  bsmStatus_->oifIntfIdIs(oif);
  bsmStatus_->txBsmIs(bsm);
  bsmStatus_->writeCountInc();
}

// --- fragmenting ------------------------------------------------------------------------------

/// Where group entries are placed: each in the first fragment with room for it. Fragments are made
/// as they are needed: whole entries get by with the estimated number, split ones take as many as
/// it needs.
struct BsmSender::Placement {
  const IpGenPrefix& zone;
  std::uint8_t zoneRpCount;
  std::uint32_t mtu;
  std::uint32_t numFragments;
  const BootstrapMessage& source;
  PimBsrTxFragments fragments;
  FirstFit room;

  void append(PimBsrTxFragment fragment) {
    room.append(mtu - std::min(mtu, fragment.length));
    fragments.fragment.push_back(std::move(fragment));
  }
  void lengthIs(std::size_t index, std::uint32_t length) {
    fragments.fragment[index].length = length;
    room.roomIs(index, mtu - length);
  }
};

std::uint32_t BsmSender::estimate(const IpGenPrefix& zone, std::uint32_t mtu,
                                  std::uint32_t total) const {
  const std::uint32_t whole = total / mtu;
  if (scoped(zone)) total += groupLength * whole - groupLength;  // each repeats the zone's entry
  total += fixedLength * (whole - 1);
  return (total + mtu - 1) / mtu;
}

PimBsrTxFragment BsmSender::newFragment(const Placement& at) {
  const BootstrapMessage& bsm = at.source;
  auto fragment = std::allocate_shared<BootstrapMessage>(PoolAllocator<BootstrapMessage>{});
  fragment->forwardIs(bsm.forward());
  fragment->fragmentTagIs(bsm.fragmentTag());
  fragment->hashMaskLenIs(bsm.hashMaskLen());
  fragment->bsrPriorityIs(bsm.bsrPriority());
  fragment->bsrAddressIs(bsm.bsrAddress());
  const std::size_t withRps = (at.mtu - fixedLength) / (groupLength + rpLength);
  fragment->groupRpData().reserve(std::min(withRps, bsm.groupRpData().size()));
  return {std::move(fragment), fixedLength};
}

PimBsrTxFragments BsmSender::fragmentBsm(const IpGenPrefix& zone, std::uint32_t mtu,
                                         std::uint32_t totalBsmLength,
                                         const BootstrapMessage& bsm) {
  const auto& groups = bsm.groupRpData();
  const std::uint32_t head = fixedLength + (scoped(zone) ? groupLength : 0);
  if (groups.empty() || mtu < head + minSplitSpace) return {};
  const std::uint32_t numFragments = estimate(zone, mtu, totalBsmLength);
  BSR_TRACE(sm, 1, numFragments, " fragments to be generated");
  Placement at{zone, groups.front().rpCount(), mtu, numFragments, bsm, {}, {}};

  std::vector<const BootstrapGroupData*, PoolAllocator<const BootstrapGroupData*>> splitGroupRpData;
  for (const BootstrapGroupData& group : groups) {
    if (doAddGroupData(at, group, false) == 0) continue;
    const bool zoneEntry = scoped(zone) && &group == &groups.front();
    if (zoneEntry) {
      doAddGroupData(at, group, true);
    } else {
      splitGroupRpData.push_back(&group);
    }
  }
  BSR_TRACE(sm, 1, " Group-Rp data needs to be split across fragments");
  for (const BootstrapGroupData* group : splitGroupRpData) {
    const int left = doAddGroupData(at, *group, true);
    ROUTING_ASSERT_TEXT(left == 0,
                        "!doAddGroupData( zone, zoneRpCount, fragments, mtu, "
                        "splitGroupRpData( i ), true, vrfName() )");
  }
  return std::move(at.fragments);
}

int BsmSender::doAddGroupData(Placement& at, const BootstrapGroupData& group, bool split) {
  return split ? placeSplit(at, group) : placeWhole(at, group);
}

// A fragment whose first range did not name the zone would speak for all groups.
bool BsmSender::needsZoneEntry(const Placement& at, const PimBsrTxFragment& fragment,
                               const BootstrapGroupData& group) const {
  const bool namesZone = group.prefix() == at.zone && group.zone();
  return scoped(at.zone) && fragment.length == fixedLength && !namesZone;
}

void BsmSender::addZoneEntry(const Placement& at, std::size_t index) {
  const PimBsrTxFragment& fragment = at.fragments.fragment[index];
  BootstrapGroupData entry(at.zone, GroupFlags::zoneFlag);
  entry.rpCountIs(at.zoneRpCount);
  fragment.bsm->groupRpDataAppend(std::move(entry));
  BSR_TRACE(sm, 1, "Adding zone ", at.zone, " information to fragment ", index);
}

// A later range may come with a stray Z bit. As the first of a fragment it would make that one the
// message of another zone (RFC 5059 section 3.4).
void BsmSender::append(const Placement& at, const PimBsrTxFragment& fragment,
                       const BootstrapGroupData& group) const {
  auto& groups = fragment.bsm->groupRpData();
  groups.push_back(group);
  if (groups.size() == 1 && !scoped(at.zone)) {
    groups.front().groupFlagsIs(group.groupFlags() & ~GroupFlags::zoneFlag);
  }
}

// An entry that came in a fragment counts with the RPs that it carries, not with those it
// announces.
int BsmSender::placeWhole(Placement& at, const BootstrapGroupData& group) {
  const auto carried = static_cast<std::uint32_t>(group.rpList().size());
  const std::uint32_t entry = groupLength + rpLength * carried;
  std::size_t index = at.room.first(entry);
  std::uint32_t zoneEntry = 0;
  if (index >= at.numFragments) {
    index = at.room.size();
    if (index >= at.numFragments) return -1;
    PimBsrTxFragment fresh = newFragment(at);
    zoneEntry = needsZoneEntry(at, fresh, group) ? groupLength : 0;
    if (fresh.length + zoneEntry + entry > at.mtu) return -1;
    at.append(std::move(fresh));
  }
  if (zoneEntry != 0) addZoneEntry(at, index);
  PimBsrTxFragment& fragment = at.fragments.fragment[index];
  append(at, fragment, group);
  at.lengthIs(index, fragment.length + zoneEntry + entry);
  BSR_TRACE(sm, 1, "Fragment ", index, " to house prefix ", group.prefix(), " with ", carried,
            " RPs");
  BSR_TRACE(sm, 1, "Length of fragment ", index, " is ", fragment.length);
  return 0;
}

int BsmSender::placeSplit(Placement& at, const BootstrapGroupData& group) {
  const auto carried = static_cast<std::uint32_t>(group.rpList().size());
  std::uint32_t placed = 0;
  for (std::size_t next = 0;; ++next) {
    const std::size_t index = std::min(at.room.first(minSplitSpace), at.room.size());
    traceFull(at, group, next, index);
    next = index;
    if (index == at.room.size()) at.append(newFragment(at));
    PimBsrTxFragment& fragment = at.fragments.fragment[index];
    const std::uint32_t zoneEntry = needsZoneEntry(at, fragment, group) ? groupLength : 0;
    const std::uint32_t used = fragment.length + zoneEntry;
    if (zoneEntry != 0) addZoneEntry(at, index);
    const std::uint32_t room = (at.mtu - used - groupLength) / rpLength;
    const std::uint32_t count = std::min(room, carried - placed);
    BootstrapGroupData piece(group.prefix(), group.groupFlags());
    piece.rpCountIs(group.rpCount());
    piece.fragRpCountIs(static_cast<std::uint8_t>(count));
    piece.rpListIs(group.rpList().part(placed, count));
    append(at, fragment, piece);
    at.lengthIs(index, used + groupLength + rpLength * count);
    BSR_TRACE(sm, 1, "    into fragment ", index, " ", count, " Rps ( max ", room, " RPs )");
    placed += count;
    if (placed == carried) return 0;
  }
}

// Those that were passed by on the way from one fragment to another.
void BsmSender::traceFull(const Placement& at, const BootstrapGroupData& group, std::size_t from,
                          std::size_t to) const {
  if (!traces::sm.enabled(1)) return;
  for (std::size_t i = from; i < to; ++i) {
    BSR_TRACE(sm, 1, "Splitting fragment for prefix ", group.prefix(), " containing ",
              group.rpList().size(), " RPs: fragment ", i,
              " does not have space. Required Space:", minSplitSpace,
              ", Available space:", at.room.room(i));
  }
}

}  // namespace Routing::Pim::Bsr
