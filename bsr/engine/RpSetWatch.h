#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "bsr/engine/RpSetMirror.h"
#include "bsr/engine/ZoneServices.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim::Bsr {

/// Watches the RP sets of all zones: ends each RP with its hold time, and tells the mirror of PIM's
/// view what has changed.
///
///   zone's set     range ----------- RP      their reactors: the RP's is its hold timer,
///                    |               |       the range's knows where it stands in PIM's view
///                  range's reactor   RP's reactor
///                    |
///   PIM's view     range ----------- RP
class ROUTING_API RpSetWatch {
 public:
  /// Withdraws an RP of a zone whose hold time has ended, if there is somebody to do it; false if
  /// not: the RP is then deleted.
  using Withdraw = std::function<bool(const IpGenPrefix& zone, RpEntry& rp)>;

  /// Keeps the services' totals up to date; they, the mirror and the wheel must outlive the watch.
  /// What PIM is shown and no zone accounts for goes.
  RpSetWatch(std::shared_ptr<Status> bsrStatus, RpSetMirror& mirror, ZoneServices& services,
             TimerWheel& timerWheel, Withdraw withdraw);
  RpSetWatch(const RpSetWatch&) = delete;
  RpSetWatch& operator=(const RpSetWatch&) = delete;
  ~RpSetWatch();

  /// How many RPs of zones were not advertised within their hold time.
  std::uint64_t expired() const { return expired_; }
  /// Watches nothing any more.
  void retire();

 private:
  class ZoneReactor;
  class SetReactor;
  class RpReactor;
  template <class Reactor>
  class Reactors;

  void handleZone(const IpGenPrefix& zone);
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  const std::shared_ptr<Status> bsrStatus_;
  RpSetMirror& mirror_;
  ZoneServices& services_;
  TimerWheel& timerWheel_;
  std::uint64_t expired_ = 0;
  const Withdraw withdraw_;
  const std::shared_ptr<DeferredDelete> deferred_;
  std::unique_ptr<Reactors<ZoneReactor>> zones_;
  Subscription zoneSubscription_;
};

}  // namespace Routing::Pim::Bsr
