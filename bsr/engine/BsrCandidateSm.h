#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "bsr/engine/AnswerBucket.h"
#include "bsr/engine/CandidateRpSet.h"
#include "bsr/engine/ZoneSm.h"
#include "platform/pim/wire/CrpAdvMessage.h"

namespace Routing::Pim::Bsr {

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
///   BSM of one's   |                    | as its weight     | pBsr: forward,     | eBsr: nothing
///   own address    |                    | says              |    install         |
///   BS timer       | assertion          | -> pBsr, back-off | -> eBsr: win, own  | eBsr: own BSM,
///                  |                    |                   |    BSM, bsPeriod   |    bsPeriod
///
/// follow: clear what another BSR said, record the BSR, forward, install its RP set, BS timer = BS
/// time-out. lose: clear the RP set and the record. win: record oneself. A message is weighed
/// against the BSR that is followed in cBsr, against this router itself in pBsr and eBsr; one of
/// one's own address is news of one's own earlier life, not of another BSR.
///
/// What the host may choose beyond that (BsrPolicy): the first back-off waits for priming, win
/// takes the RPs of another BSR's last message over, pBsr installs what worse BSRs announce, the
/// answers in eBsr are bounded, what eBsr withdraws is said twice.
class ROUTING_API BsrCandidateSm final : public ZoneSm {
 public:
  using State = BsrCandidateState;

  /// Shortest time, in seconds, in which a changed RP set is announced (RFC 5059 section 5).
  static constexpr double bsMinInterval = 10.0;

  /// The zone's candidate must be in the status. `engine` calls start() once it knows the machine.
  BsrCandidateSm(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus, TimerWheel& timerWheel,
                 PimBsrSm& engine);
  void start();
  void retire() override;

  /// The BSR that the machine believes in.
  struct StoredBsr {
    IpGenAddr ipAddr;
    std::uint8_t priority = 0;
    std::uint32_t hashMaskLen = hashMaskLenUnknown;
  };

  State state() const { return state_; }
  const std::shared_ptr<BsrCandidate>& candidate() const { return candidate_; }
  const StoredBsr& storedBsr() const { return storedBsr_; }
  /// The BS time-out in force for the zone, in seconds.
  std::uint32_t bsTimeout() const { return bsTimeout_; }

  /// Takes a message of the zone.
  void bsmIs(const Bsm& bsm);
  /// Sends this router's own message for the zone; a shutdown carries BSR priority 0 and the RP
  /// set.
  void doSendBsm(bool shutdown);
  /// Takes one group range of a candidate-RP advertisement in, as elected BSR (RFC 5059
  /// section 3.3).
  void doAddCrp(const CrpGroupInfo& groupInfo, const IpGenAddr& rpAddress, RpPriority priority,
                CrpHoldTime holdtime);
  /// The hold time of one of the zone's RPs has ended. True if, as elected BSR, the machine
  /// withdraws it; otherwise it is to be deleted.
  bool doExpireCrp(RpEntry& rp);

  /// Withdraws RPs that the machine announces as elected BSR, those with this address or all of
  /// them; they end as if their hold times had. Returns how many there were.
  std::size_t withdrawRps(const IpGenAddr& address);

  /// Reactions to the timer, to the BS time-out of the status and to the candidate's attributes.
  bool unheard() const override;
  void handleBsrTimerExpiry() override;
  void handleBsTimeout();
  void handleIpChange();
  void handlePriority();
  void handleHashMaskLen();
  void handleBsPeriod();
  void handleElected();

 private:
  using Withdrawn = std::set<std::pair<IpGenPrefix, IpGenAddr>>;

  void handleInitialized();
  void handleBsm();
  void handlePreferredBsm();
  void handleNonPreferredBsm();
  void handleOwnBsm();
  void handleStateChange();
  void stateIs(State state);

  bool complete() const;
  bool usable(const IpGenAddr& address) const;
  void ownBsrIs();
  void computeBsTimeout(const char* firstPiece);
  std::uint32_t bs_rand_override() const;
  bool officeLapsed() const;
  StoredBsr betterOfRecordAndOwn() const;
  void clearOthersRpSet(const Bsm& bsm);
  void storedBsrIs(const Bsm& bsm);
  void lowerStoredBsr(const Bsm& bsm);
  void takeLastWords(const Bsm& bsm, const Turn& turn);
  void learnWaiting(const Bsm& bsm, const Turn& turn);
  void learn(const Bsm& bsm, const Turn& turn);
  void awaitNextBsm();
  void backOffIs();
  void awaitPriming();
  void answer();
  void takeOver();
  void originate();
  Bsm ownBsm(bool shutdown);
  std::uint16_t freshTag();
  double nextOwnBsm() const;
  void updateElected();
  void contest();
  void shortenBsTimer(std::uint32_t seconds);
  void pullForward();
  void doUpdateElectedBsr();
  void doDelElectedBsr();
  static PimBsrWeight weight(const StoredBsr& bsr) { return {bsr.priority, bsr.ipAddr}; }

  std::shared_ptr<BsrCandidate> candidate_;
  Bsm bsm_;  // under examination; none between turns
  State state_ = State::noInfoBsr;
  std::uint32_t bsTimeout_ = 0;
  StoredBsr ownBsr_;                          // the candidate's last values that are set
  std::uint32_t bsPeriod_ = bsPeriodUnknown;  // likewise
  StoredBsr storedBsr_;
  CandidateRpSet candidateRpSet_;
  AnswerBucket answers_;
  Withdrawn withdrawn_;       // in the last own message, to be said once more
  bool allAnnounced_ = true;  // the last own message had room for all RPs
  bool heard_ = true;         // and found a neighbour
  std::vector<Subscription> reactors_;
};

}  // namespace Routing::Pim::Bsr
