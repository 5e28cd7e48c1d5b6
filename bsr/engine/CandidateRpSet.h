#pragma once

#include <cstdint>
#include <memory>

#include "bsr/engine/RpSets.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/pim/CrpAdvMessage.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim::Bsr {

/// The candidate RPs that the elected BSR of a zone gathers from advertisements (RFC 5059 section
/// 3.3). They are kept in the zone's RP set of the status and end with their hold times.
class ROUTING_API CandidateRpSet {
 public:
  /// What the zone's BSR gives to its RPs; the period is in seconds.
  struct ZoneValues {
    std::uint32_t hashMaskLen;
    std::uint32_t bsPeriod;
  };

  CandidateRpSet(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus, RpSets& rpSets,
                 TimerWheel& timerWheel);

  /// Adds, updates or (hold time 0) withdraws one RP of one group range. True if that should be
  /// announced soon: the RP is new or withdrawn. A hash mask length above 128 raises RangeError.
  bool doAddCrp(const CrpGroupInfo& groupInfo, const IpGenAddr& rpAddress, RpPriority priority,
                CrpHoldTime holdtime, const ZoneValues& values);

 private:
  std::shared_ptr<RpCandidateSet> findOrCreate(const IpGenPrefix& prefix);
  bool withdraw(const std::shared_ptr<RpEntry>& rp, const IpGenAddr& rpAddress);
  void holdTimeIs(RpEntry& rp, CrpHoldTime holdtime, std::uint32_t bsPeriod);
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  IpGenPrefix zone_;
  std::shared_ptr<Status> bsrStatus_;
  RpSets& rpSets_;
  TimerWheel& timerWheel_;
};

}  // namespace Routing::Pim::Bsr
