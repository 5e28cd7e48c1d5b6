#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bsr/engine/CandidateRpSet.h"
#include "bsr/engine/LastBsm.h"
#include "bsr/engine/RxFragments.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/pim/BootstrapMessage.h"
#include "platform/pim/CrpAdvMessage.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim::Bsr {

class PimBsrSm;

/// The machine of a zone in which this router is a candidate BSR (RFC 5059 section 3.1.1).
///
///   event          | noInfoBsr          | cBsr              | pBsr               | eBsr
///   ---------------+--------------------+-------------------+--------------------+----------------
///   complete       | -> pBsr, back-off; |                   |                    |
///                  | was elected: eBsr, |                   |                    |
///                  | own BSM, bsPeriod  |                   |                    |
///   preferred BSM  |                    | cBsr: follow      | -> cBsr: follow    | -> cBsr: lose,
///                  |                    |                   |                    |    follow
///   other BSM      | assertion          | -> pBsr: forward, | pBsr: forward      | eBsr: own BSM,
///                  |                    |    back-off       |                    |    bsPeriod
///   BS timer       | assertion          | -> pBsr, back-off | -> eBsr: win, own  | eBsr: own BSM,
///                  |                    |                   |    BSM, bsPeriod   |    bsPeriod
///
/// follow: clear what another BSR said, record the BSR, forward, install its RP set, BS timer = BS
/// time-out. lose: clear the RP set and the record. win: record oneself. A message is weighed
/// against the BSR that is followed in cBsr, against this router itself in pBsr and eBsr.
class ROUTING_API BsrCandidateSm {
 public:
  using State = BsrCandidateState;

  /// Shortest time, in seconds, in which a changed RP set is announced (RFC 5059 section 5).
  static constexpr double bsMinInterval = 10.0;

  /// `engine` creates and deletes the machine.
  BsrCandidateSm(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus, TimerWheel& timerWheel,
                 PimBsrSm& engine);
  BsrCandidateSm(const BsrCandidateSm&) = delete;
  BsrCandidateSm& operator=(const BsrCandidateSm&) = delete;

  /// The BSR that the machine believes in.
  struct StoredBsr {
    IpGenAddr ipAddr;
    std::uint8_t priority = 0;
    std::uint32_t hashMaskLen = hashMaskLenUnknown;
  };

  const IpGenPrefix& zone() const { return zone_; }
  bool initialized() const { return initialized_; }
  State state() const { return state_; }
  const std::shared_ptr<BsrCandidate>& candidate() const { return candidate_; }
  const StoredBsr& storedBsr() const { return storedBsr_; }
  /// The BS time-out in force for the zone, in seconds.
  std::uint32_t bsTimeout() const { return bsTimeout_; }
  /// When the bootstrap timer fires; `never` while idle.
  double bsExpiry() const { return bsTimer_.expiry(); }
  /// The last accepted or sent message, null if there is none.
  const std::shared_ptr<BootstrapMessage>& lastBsm() const { return lastBsm_.message(); }
  const std::shared_ptr<PimBsrRxFragments>& lastBsmFragments() const { return lastBsmFragments_; }

  /// Takes a message of the zone.
  void bsmIs(const std::shared_ptr<BootstrapMessage>& bsm);
  /// Sends this router's own message for the zone; a shutdown carries BSR priority 0 and the RP
  /// set.
  void doSendBsm(bool shutdown);
  /// Takes one group range of a candidate-RP advertisement in, as elected BSR (RFC 5059
  /// section 3.3).
  void doAddCrp(const CrpGroupInfo& groupInfo, const IpGenAddr& rpAddress, RpPriority priority,
                CrpHoldTime holdtime);

  /// Reactions to the timer, to the BS time-out of the status and to the candidate's attributes.
  void handleBsrTimerExpiry();
  void handleBsTimeout();
  void handleIpChange();
  void handlePriority();
  void handleHashMaskLen();
  void handleBsPeriod();
  void handleElected();

 private:
  void handleInitialized();
  void handleBsm();
  void handlePreferredBsm();
  void handleNonPreferredBsm();
  void handleStateChange();
  void stateIs(State state);

  bool complete() const;
  bool usable(const IpGenAddr& address) const;
  void ownBsrIs();
  void computeBsTimeout(const char* firstPiece);
  std::uint32_t bs_rand_override() const;
  StoredBsr betterOfRecordAndOwn() const;
  void recordIs(const BootstrapMessage& bsm);
  void lowerStoredBsr();
  void awaitNextBsm();
  void backOffIs();
  void originate();
  void updateElected();
  void contest();
  void shortenTo(std::uint32_t seconds);
  void pullForward();
  void forwardOrTrace();
  void lastBsmIs();
  void clearRpSet(const std::string& reason);
  void doUpdateElectedBsr();
  void doDelElectedBsr();
  void recordExpiryIs(double expiry);
  static PimBsrWeight weight(const StoredBsr& bsr) { return {bsr.priority, bsr.ipAddr}; }
  double now() const { return timerWheel_.now(); }
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  IpGenPrefix zone_;
  std::shared_ptr<Status> bsrStatus_;
  TimerWheel& timerWheel_;
  PimBsrSm& engine_;
  Timer bsTimer_;
  std::shared_ptr<BsrCandidate> candidate_;
  bool initialized_ = false;
  State state_ = State::noInfoBsr;
  std::uint32_t bsTimeout_ = 0;
  StoredBsr ownBsr_;                          // the candidate's last values that are set
  std::uint32_t bsPeriod_ = bsPeriodUnknown;  // likewise
  StoredBsr storedBsr_;
  CandidateRpSet candidateRpSet_;
  std::shared_ptr<BootstrapMessage> bsm_;
  LastBsm lastBsm_;
  std::shared_ptr<PimBsrRxFragments> lastBsmFragments_;
  std::vector<Subscription> reactors_;
};

}  // namespace Routing::Pim::Bsr
