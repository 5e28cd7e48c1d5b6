#pragma once

#include <memory>
#include <string>

#include "bsr/engine/LastBsm.h"
#include "bsr/engine/RxFragments.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/pim/BootstrapMessage.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim::Bsr {

class PimBsrSm;

/// The machine of a zone in which this router is no candidate BSR (RFC 5059 section 3.1.2): follows
/// the elected BSR, ages it out, and in the end forgets a scoped zone.
///
///   event             | noInfo             | acceptAny          | acceptPreferred
///   ------------------+--------------------+--------------------+---------------------------------
///   initialisation    | start, scoped zone | start, global zone | start, a BSR is recorded
///   BSM, none recorded| -> acceptPreferred: record, forward, store RP set, start BS, stop SZ timer
///   preferred BSM     | -> acceptPreferred: update record, the rest the same
///   other BSM         | -> acceptPreferred, ignored             | ignored
///   BS timer          | invalid            | invalid            | -> acceptAny: refresh RP set,
///                     |                    |                    |    delete record, start SZ timer
///   SZ timer          | invalid            | -> noInfo, machine | invalid
///                     |                    |    deleted         |
///
/// The SZ timer runs for scoped zones only. Changes of the time-outs only ever shorten a timer.
class ROUTING_API BsrNonCandidateSm {
 public:
  using State = BsrNonCandidateState;

  /// `engine` creates and deletes the machine.
  BsrNonCandidateSm(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus,
                    TimerWheel& bsTimerWheel, TimerWheel& szTimerWheel, PimBsrSm& engine);
  BsrNonCandidateSm(const BsrNonCandidateSm&) = delete;
  BsrNonCandidateSm& operator=(const BsrNonCandidateSm&) = delete;

  const IpGenPrefix& zone() const { return zone_; }
  State state() const { return state_; }
  /// Instants, `never` while idle.
  double bsExpiry() const { return bsTimer_.expiry(); }
  double szExpiry() const { return szTimer_.expiry(); }
  /// The last accepted message, null if there is none (any more).
  const std::shared_ptr<BootstrapMessage>& lastBsm() const { return lastBsm_.message(); }
  const std::shared_ptr<PimBsrRxFragments>& lastBsmFragments() const { return lastBsmFragments_; }

  /// Takes a message of the zone.
  void bsmIs(const std::shared_ptr<BootstrapMessage>& bsm);

  /// Reactions to the timers and to the time-outs of the status. The SZ timer's deletes this
  /// object.
  void handleBsrTimerExpiry();
  void handleSzTimerExpiry();
  void handleBsTimeout();
  void handleSzTimeout();

 private:
  void handleInitialized();
  void handleBsm();
  bool accept();
  void newBsr();
  void handlePreferredBsm(ElectedBsrStatus& bsr);
  void clearRpSet(const std::string& reason);
  void lastBsmIs();
  bool scoped() const;
  /// The zone's elected BSR; null while none is recorded or the record is not filled in.
  std::shared_ptr<ElectedBsrStatus> recordedBsr() const;
  double now() const { return timerWheel_.now(); }
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  IpGenPrefix zone_;
  std::shared_ptr<Status> bsrStatus_;
  TimerWheel& timerWheel_;
  PimBsrSm& engine_;
  Timer bsTimer_;
  Timer szTimer_;
  bool initialized_ = false;
  State state_ = State::noInfo;
  std::shared_ptr<BootstrapMessage> bsm_;
  LastBsm lastBsm_;
  std::shared_ptr<PimBsrRxFragments> lastBsmFragments_;
  Subscription bsTimeoutReactor_;
  Subscription szTimeoutReactor_;
};

}  // namespace Routing::Pim::Bsr
