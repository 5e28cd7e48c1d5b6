#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "bsr/engine/LastBsm.h"
#include "bsr/engine/RxFragments.h"
#include "bsr/engine/Turn.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/pim/wire/BootstrapMessage.h"
#include "platform/time/TimerWheel.h"
#include "platform/trace/Trace.h"

namespace Routing::Pim::Bsr {

class PimBsrSm;
class ZoneServices;

/// What the machines of a zone have in common, the candidate's and the follower's: the record of
/// the elected BSR, its last message, the RP set, the bootstrap timer. A message is held during its
/// own turn only; what is kept of it is bounded (LastBsm).
class ROUTING_API ZoneSm {
 public:
  using Bsm = std::shared_ptr<BootstrapMessage>;

  ZoneSm(const ZoneSm&) = delete;
  ZoneSm& operator=(const ZoneSm&) = delete;
  virtual ~ZoneSm();

  const IpGenPrefix& zone() const { return zone_; }
  bool initialized() const { return initialized_; }
  /// When the bootstrap timer fires; `never` while idle.
  double bsExpiry() const { return bsTimer_.expiry(); }
  /// The last accepted or sent message, null if there is none (any more).
  const Bsm& lastBsm() const { return lastBsm_.message(); }
  /// When it was accepted or sent; means nothing while there is none.
  double lastBsmSince() const { return lastBsm_.since(); }
  /// Whether the last message is one of our own that left on no interface, and is to be brought to
  /// the first neighbour that appears on each.
  virtual bool unheard() const { return false; }
  const std::shared_ptr<PimBsrRxFragments>& lastBsmFragments() const { return lastBsmFragments_; }

  /// The machine is the zone's no longer: it does nothing from here on, and what it is doing stops.
  virtual void retire();

  virtual void handleBsrTimerExpiry() = 0;
  /// Has the bootstrap timer fire in this turn of the event loop, if it runs.
  void endWait();

 protected:
  /// Texts of shortenTo() for one timer.
  struct TimerTexts {
    const char* timer;
    const char* resetting;
  };
  static constexpr TimerTexts bsTexts{"BS", "Resetting BS"};
  static constexpr TimerTexts szTexts{"SZ", "Restting SZ"};

  /// `engine` creates and retires the machine; `trace` is the machine's facility.
  ZoneSm(const IpGenPrefix& zone, std::shared_ptr<Status> bsrStatus, TimerWheel& timerWheel,
         PimBsrSm& engine, const TraceHandle& trace);

  Turn beginTurn() { return Turn::begin(turns_); }
  Turn joinTurn() const { return Turn::join(turns_); }

  bool scoped() const;
  double now() const { return timerWheel_.now(); }
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  /// The zone's elected BSR; null while none is recorded or the record is not filled in.
  std::shared_ptr<ElectedBsrStatus> recordedBsr() const;
  void recordExpiryIs(double expiry);
  /// Deletes a record that names no BSR: what is left where the writing of one was overtaken.
  void dropNamelessRecord();

  void clearRpSet(const std::string& reason);
  void forwardOrTrace(const Bsm& bsm, const Turn& turn);
  /// Keeps a message as the last one, and forgets the incomplete ranges of the one before.
  void lastBsmIs(const Bsm& bsm);
  /// Restarts a timer if more than so many seconds are left; never lengthens it. True if it did.
  bool shortenTo(Timer& timer, std::uint32_t seconds, const TimerTexts& texts);

  PimBsrSm& engine_;
  const std::shared_ptr<ZoneServices> services_;
  const std::shared_ptr<Status> bsrStatus_;
  TimerWheel& timerWheel_;
  const TraceHandle& trace_;
  bool initialized_ = false;
  Timer bsTimer_;
  LastBsm lastBsm_;

 private:
  const IpGenPrefix zone_;
  std::uint64_t turns_ = 0;
  std::shared_ptr<PimBsrRxFragments> lastBsmFragments_;
};

}  // namespace Routing::Pim::Bsr
