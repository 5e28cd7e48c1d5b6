#pragma once

#include <memory>

#include "bsr/engine/ZoneSm.h"

namespace Routing::Pim::Bsr {

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
class ROUTING_API BsrNonCandidateSm final : public ZoneSm {
 public:
  using State = BsrNonCandidateState;

  /// `engine` calls start() once it knows the machine.
  BsrNonCandidateSm(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus,
                    TimerWheel& bsTimerWheel, TimerWheel& szTimerWheel, PimBsrSm& engine);
  void start();
  void retire() override;

  State state() const { return state_; }
  /// When the scope-zone timer fires; `never` while idle.
  double szExpiry() const { return szTimer_.expiry(); }

  /// Takes a message of the zone.
  void bsmIs(const Bsm& bsm);

  /// Reactions to the timers and to the time-outs of the status. The SZ timer's retires this
  /// machine.
  void handleBsrTimerExpiry() override;
  void handleSzTimerExpiry();
  void handleBsTimeout();
  void handleSzTimeout();

 private:
  void handleInitialized();
  void handleBsm();
  bool preferred(const Bsm& bsm) const;
  void newBsr(const Bsm& bsm);
  void handlePreferredBsm();
  void handleNewAddress(ElectedBsrStatus& bsr, const Bsm& bsm);
  void bsTimerIs();
  void removeBsr();
  void szTimerIs();

  Timer szTimer_;
  Bsm bsm_;  // under examination; none between turns
  State state_ = State::noInfo;
  Subscription bsTimeoutReactor_;
  Subscription szTimeoutReactor_;
};

}  // namespace Routing::Pim::Bsr
