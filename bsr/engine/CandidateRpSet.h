#pragma once

#include <cstdint>
#include <memory>

#include "bsr/engine/RpSets.h"
#include "bsr/engine/Turn.h"
#include "bsr/types/Limits.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/pim/wire/BootstrapMessage.h"
#include "platform/pim/wire/CrpAdvMessage.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim::Bsr {

/// The candidate RPs that the elected BSR of a zone gathers from advertisements (RFC 5059 section
/// 3.3). They are kept in the zone's RP set of the status and end with their hold times.
///
/// At most 255 RPs of a range count, the best by priority, then by lower address: a message has no
/// room for more, and all routers are to choose among the same. One that is better than the worst
/// displaces it; one that is not is refused, counted and traced.
class ROUTING_API CandidateRpSet {
 public:
  /// What the zone's BSR gives to its RPs; the period is in seconds.
  struct ZoneValues {
    std::uint32_t hashMaskLen;
    std::uint32_t bsPeriod;
  };

  CandidateRpSet(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus, RpSets& rpSets,
                 PimBsrLimits& limits, TimerWheel& timerWheel);

  /// Adds, updates or (hold time 0) withdraws one RP of one group range. True if that should be
  /// announced soon: the RP is new or withdrawn. A hash mask length above 128 raises RangeError.
  bool doAddCrp(const CrpGroupInfo& groupInfo, const IpGenAddr& rpAddress, RpPriority priority,
                CrpHoldTime holdtime, const ZoneValues& values);
  /// An RP is to be announced once more, with hold time 0, and then to go. False if that is so
  /// already.
  bool withdraw(RpEntry& rp);

  /// Takes the RPs over that the last message of another BSR announced and the zone does not hold,
  /// until the hold times end that began when the message was heard.
  void bridge(const BootstrapMessage& bsm, double heardAt, std::uint32_t hashMaskLen,
              const Turn& turn);
  /// Withdraws what is not among the best of its range.
  void trim(const Turn& turn);

 private:
  struct Bridged;

  bool roomInRange(const RpCandidateSet* set, const IpGenPrefix& prefix, const IpGenAddr& rpAddress,
                   RpPriority priority);
  std::shared_ptr<RpCandidateSet> findOrCreate(const IpGenPrefix& prefix);
  bool handleWithdrawal(const std::shared_ptr<RpEntry>& rp);
  void bridge(const Bridged& rp);
  void holdTimeIs(RpEntry& rp, CrpHoldTime holdtime, std::uint32_t bsPeriod);
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  IpGenPrefix zone_;
  std::shared_ptr<Status> bsrStatus_;
  RpSets& rpSets_;
  PimBsrLimits& limits_;
  TimerWheel& timerWheel_;
};

}  // namespace Routing::Pim::Bsr
