#include "bsr/engine/CandidateRpSet.h"

#include <algorithm>
#include <utility>

#include "bsr/types/Traces.h"
#include "platform/trace/SysLogMessage.h"

namespace Routing::Pim::Bsr {
namespace {

const SysLogMessage PIMBSR_MESSAGE_CRP_ZONE(
    "PIMBSR_MESSAGE_CRP_ZONE", 5, "C-RP advertisement received from %s with Zone bit set.",
    "Indicated C-RP is a ZBR. This message is logged in compliance to RFC 5059.",
    "If C-RP is not a ZBR contact support. This message is safe to ignore otherwise.");

}  // namespace

CandidateRpSet::CandidateRpSet(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus,
                               RpSets& rpSets, TimerWheel& timerWheel)
    : zone_(zone), bsrStatus_(std::move(bsrStatus)), rpSets_(rpSets), timerWheel_(timerWheel) {}

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
  if (withdrawal) return withdraw(set ? set->rp(rpAddress) : nullptr, rpAddress);

  const RpHashMaskLen hashMaskLen(values.hashMaskLen);
  const bool added = !set || !set->rp(rpAddress);
  if (added && !rpSets_.roomForRp(prefix, rpAddress)) return false;
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

std::shared_ptr<RpCandidateSet> CandidateRpSet::findOrCreate(const IpGenPrefix& prefix) {
  if (!rpSets_.roomForSet(zone_, prefix)) return nullptr;
  if (!bsrStatus_->crpStatus(zone_))
    BSR_TRACE(candidateSm, 4, "Creating CrpStatus for zone ", zone_);
  BSR_TRACE(candidateSm, 4, "Creating CrpSet with prefix ", prefix);
  return rpSets_.create(zone_, prefix);
}

// A withdrawn RP is announced once more, with hold time 0, and then goes.
bool CandidateRpSet::withdraw(const std::shared_ptr<RpEntry>& rp, const IpGenAddr& rpAddress) {
  if (!rp) {
    BSR_TRACE(candidateSm, 4, "Holdtime value of C-RP Advertisement is 0. Ignoring message");
    return false;
  }
  if (rp->holdTime().value() == 0) {
    BSR_TRACE(candidateSm, 4, "Ignoring duplicate C-RP advertisement with 0 holdtime");
    return false;
  }
  rp->expiryTimeIs(timerWheel_.now() + rp->holdTime().value());
  rp->holdTimeIs(CrpHoldTime(0));
  BSR_TRACE(candidateSm, 4, "C-RP ", rpAddress, " updated with holdtime 0");
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

}  // namespace Routing::Pim::Bsr
