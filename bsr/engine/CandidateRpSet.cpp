#include "bsr/engine/CandidateRpSet.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "bsr/types/Traces.h"
#include "platform/trace/SysLogMessage.h"

namespace Routing::Pim::Bsr {
namespace {

const SysLogMessage PIMBSR_MESSAGE_CRP_ZONE(
    "PIMBSR_MESSAGE_CRP_ZONE", 5, "C-RP advertisement received from %s with Zone bit set.",
    "Indicated C-RP is a ZBR. This message is logged in compliance to RFC 5059.",
    "If C-RP is not a ZBR contact support. This message is safe to ignore otherwise.");

using RpRank = std::pair<std::uint32_t, IpGenAddr>;  // the lower the better

RpRank rankOf(const RpEntry& rp) {
  return {rp.priority().value(), rp.address()};
}

/// The RPs of a range that are not withdrawn, the best first.
std::vector<std::shared_ptr<RpEntry>> ranked(const RpCandidateSet& set) {
  std::vector<std::shared_ptr<RpEntry>> live;
  for (const auto& [address, rp] : set.rp()) {
    if (rp->holdTime().value() != 0) live.push_back(rp);
  }
  std::sort(live.begin(), live.end(),
            [](const auto& a, const auto& b) { return rankOf(*a) < rankOf(*b); });
  return live;
}

}  // namespace

/// An RP of another BSR's message.
struct CandidateRpSet::Bridged {
  const BootstrapGroupData& group;
  const IpGenAddr& address;
  const BootstrapRpData& data;
  RpHashMaskLen hashMaskLen;
  double expiryTime;
};

CandidateRpSet::CandidateRpSet(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus,
                               RpSets& rpSets, PimBsrLimits& limits, TimerWheel& timerWheel)
    : zone_(zone),
      bsrStatus_(std::move(bsrStatus)),
      rpSets_(rpSets),
      limits_(limits),
      timerWheel_(timerWheel) {}

bool CandidateRpSet::doAddCrp(const CrpGroupInfo& groupInfo, const IpGenAddr& rpAddress,
                              RpPriority priority, CrpHoldTime holdtime, const ZoneValues& values) {
  const GroupFlags flags = groupInfo.groupFlags();
  const IpGenPrefix& prefix = groupInfo.groupInfo();
  BSR_TRACE(candidateSm, 9, " ( group=", prefix, ", rp=", rpAddress, ", priority=", priority,
            ", holdtime=", holdtime, " )");
  BSR_TRACE(candidateSm, 7, ", group flags: ", int{flags.value()}, ", Bidir: ", flags.bidir());
  if (flags.zone()) {
    PIMBSR_MESSAGE_CRP_ZONE.emit({rpAddress.text()});
    BSR_TRACE(candidateSm, 7, "Zone bit set in Candidate RP Advertisement from ", rpAddress);
  }
  const bool withdrawal = holdtime.value() == 0;
  auto set = rpSets_.find(zone_, prefix);
  if (!set && withdrawal) return false;
  const auto held = set ? set->rp(rpAddress) : nullptr;
  if (held && (held->mode() == PimMode::bidirectional) != flags.bidir()) {
    if (!flags.bidir()) {
      BSR_TRACE(candidateSm, 4, "CRP ", rpAddress, " has both PIM-SM and PIM-BIDIR instances.",
                " We prefer BIDIR. Hence ignoring PIM-SM CRP Advertisement");
      return false;
    }
    BSR_TRACE(candidateSm, 4, "CRP ", rpAddress, " has both PIM-SM and PIM-BIDIR instances.",
              " We prefer BIDIR. Hence deleting existing PIM-SM CRP entry");
    set->rpDel(rpAddress);
    set = rpSets_.find(zone_, prefix);  // gone with its last RP
  }
  if (withdrawal) return handleWithdrawal(set ? set->rp(rpAddress) : nullptr);

  const RpHashMaskLen hashMaskLen(values.hashMaskLen);
  const bool added = !set || !set->rp(rpAddress);
  if (added && !rpSets_.roomForRp(prefix, rpAddress)) return false;
  if (!roomInRange(set.get(), prefix, rpAddress, priority)) return false;
  if (!set) set = findOrCreate(prefix);
  if (!set) return false;
  const auto rp = set->newRp(rpAddress);
  if (added) {
    rp->setupTimeIs(timerWheel_.now());
    BSR_TRACE(candidateSm, 4, "Adding RP ", rpAddress, " into CrpSet with prefix ", prefix);
  }
  rp->modeIs(flags.bidir() ? PimMode::bidirectional : PimMode::sparse);
  rp->priorityIs(priority);
  rp->hashMaskLenIs(hashMaskLen);
  holdTimeIs(*rp, holdtime, values.bsPeriod);
  return added;
}

// Only an RP that does not count yet needs room; it may make the worst one go.
bool CandidateRpSet::roomInRange(const RpCandidateSet* set, const IpGenPrefix& prefix,
                                 const IpGenAddr& rpAddress, RpPriority priority) {
  if (set == nullptr || set->rp().size() < maxRpsOfRange) return true;
  const auto& held = set->rp(rpAddress);
  if (held && held->holdTime().value() != 0) return true;
  const auto live = ranked(*set);
  if (live.size() < maxRpsOfRange) return true;
  if (RpRank(priority.value(), rpAddress) < rankOf(*live.back())) {
    withdraw(*live.back());
    return true;
  }
  limits_.refusedRpsOfRangeInc();
  BSR_TRACE(candidateSm, 1, "No room for RP ", rpAddress, " of prefix ", prefix, " besides ",
            live.size(), " better ones");
  return false;
}

std::shared_ptr<RpCandidateSet> CandidateRpSet::findOrCreate(const IpGenPrefix& prefix) {
  if (!rpSets_.roomForSet(zone_, prefix)) return nullptr;
  if (!bsrStatus_->crpStatus(zone_))
    BSR_TRACE(candidateSm, 4, "Creating CrpStatus for zone ", zone_);
  BSR_TRACE(candidateSm, 4, "Creating CrpSet with prefix ", prefix);
  return rpSets_.create(zone_, prefix);
}

bool CandidateRpSet::handleWithdrawal(const std::shared_ptr<RpEntry>& rp) {
  if (!rp) {
    BSR_TRACE(candidateSm, 4, "Holdtime value of C-RP Advertisement is 0. Ignoring message");
    return false;
  }
  if (!withdraw(*rp)) {
    BSR_TRACE(candidateSm, 4, "Ignoring duplicate C-RP advertisement with 0 holdtime");
    return false;
  }
  return true;
}

bool CandidateRpSet::withdraw(RpEntry& rp) {
  const IpGenAddr address = rp.address();
  if (rp.holdTime().value() == 0) return false;
  rp.expiryTimeIs(timerWheel_.now() + rp.holdTime().value());
  rp.holdTimeIs(CrpHoldTime(0));
  BSR_TRACE(candidateSm, 4, "C-RP ", address, " updated with holdtime 0");
  return true;
}

// An RP is kept for at least three periods, so that no BSM can miss it (RFC 5059 section 3.3).
void CandidateRpSet::holdTimeIs(RpEntry& rp, CrpHoldTime holdtime, std::uint32_t bsPeriod) {
  double seconds = holdtime.value();
  if (seconds <= 2.5 * bsPeriod) {
    BSR_TRACE(candidateSm, 8, "C-RP Adv message contains holdtime ", holdtime,
              " seconds which is less than 2.5 times bsPeriod of ", bsPeriod, " seconds.");
    seconds = 3.0 * bsPeriod;
  }
  rp.holdTimeIs(CrpHoldTime(static_cast<std::uint64_t>(std::min(seconds, 65535.0))));
  rp.expiryTimeIs(timerWheel_.now() + seconds);
}

// --- taking office ----------------------------------------------------------------------------

void CandidateRpSet::bridge(const BootstrapMessage& bsm, double heardAt, std::uint32_t hashMaskLen,
                            const Turn& turn) {
  for (const BootstrapGroupData& group : bsm.groupRpData()) {
    for (const auto& rp : group.rpList()) {
      const double expiryTime = heardAt + rp.data.rpHoldtime();
      if (!turn.goesOn() || expiryTime <= timerWheel_.now()) continue;
      bridge({group, rp.address, rp.data, RpHashMaskLen(hashMaskLen), expiryTime});
    }
  }
}

void CandidateRpSet::bridge(const Bridged& bridged) {
  const IpGenPrefix& prefix = bridged.group.prefix();
  auto set = rpSets_.find(zone_, prefix);
  if (set && set->rp(bridged.address)) return;
  if (!rpSets_.roomForRp(prefix, bridged.address)) return;
  if (!set) set = findOrCreate(prefix);
  if (!set) return;
  const auto rp = set->newRp(bridged.address);
  rp->setupTimeIs(timerWheel_.now());
  rp->modeIs(bridged.group.bidir() ? PimMode::bidirectional : PimMode::sparse);
  rp->priorityIs(RpPriority(bridged.data.rpPriority()));
  rp->hashMaskLenIs(bridged.hashMaskLen);
  rp->holdTimeIs(CrpHoldTime(bridged.data.rpHoldtime()));
  rp->expiryTimeIs(bridged.expiryTime);
  BSR_TRACE(candidateSm, 4, "Taking RP ", bridged.address, " over into CrpSet with prefix ",
            prefix);
}

void CandidateRpSet::trim(const Turn& turn) {
  for (const auto& set : rpSets_.ofZone(zone_)) {
    if (set->rp().size() <= maxRpsOfRange) continue;
    const auto live = ranked(*set);
    for (std::size_t i = maxRpsOfRange; i < live.size(); ++i) {
      turn([&] { withdraw(*live[i]); });
    }
  }
}

}  // namespace Routing::Pim::Bsr
