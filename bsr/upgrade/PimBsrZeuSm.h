#pragma once

#include <cstdint>
#include <memory>

#include "bsr/types/Config.h"
#include "bsr/types/Status.h"
#include "platform/time/TimerWheel.h"
#include "platform/upgrade/ZeuStatus.h"

namespace Routing::Pim::Bsr {

/// Prepares one VRF and address family for a restart of the process under continued forwarding:
/// when the shutdown is announced, every local candidate RP gets a longer advertisement interval,
/// and after a short delay the VRF is reported as done. Nothing is sent for it, and nothing
/// restored: the process is expected to end, and the next one's configuration processing writes the
/// intervals anew.
class ROUTING_API ZeuSm {
 public:
  static constexpr std::uint32_t zeuCrpIntervalDefault = 120;
  static constexpr double zeuNotifyDelayDefault = 5.0;

  /// A shutdown that is under way already is acted upon at once. The wheel must outlive the
  /// machine.
  ZeuSm(std::shared_ptr<const Config> config, std::shared_ptr<Status> status,
        TimerWheel& timerWheel, std::shared_ptr<const ZeuShutdownStatus> zeuShutdownStatus,
        std::shared_ptr<ZeuVrfStatus> zeuVrfStatus);

  const std::shared_ptr<const Config>& config() const { return config_; }
  const std::shared_ptr<Status>& status() const { return status_; }
  const std::shared_ptr<const ZeuShutdownStatus>& zeuClientShutdownStatus() const {
    return zeuClientShutdownStatus_;
  }
  const std::shared_ptr<ZeuVrfStatus>& zeuClientVrfStatus() const { return zeuClientVrfStatus_; }
  const Timer& zeuTimer() const { return zeuTimer_; }
  bool initialized() const { return initialized_; }

  std::uint32_t zeuCrpInterval() const { return zeuCrpInterval_; }
  /// Seconds; checked against the bounds of CrpAdvInterval when it is used.
  void zeuCrpIntervalIs(std::uint32_t seconds) { zeuCrpInterval_ = seconds; }
  double zeuNotifyDelay() const { return zeuNotifyDelay_; }
  void zeuNotifyDelayIs(double seconds) { zeuNotifyDelay_ = seconds; }

  /// Does nothing unless a shutdown is under way. An interval out of bounds raises a RangeError if
  /// there is a candidate RP to have it; the VRF is then never reported.
  void doZeuShutdown();

 private:
  void handleInitialized();
  void handleZeuTimerExpiry();
  const VrfName& vrfName() const { return status_->vrfName(); }

  std::shared_ptr<const Config> config_;
  std::shared_ptr<Status> status_;
  std::shared_ptr<const ZeuShutdownStatus> zeuClientShutdownStatus_;
  std::shared_ptr<ZeuVrfStatus> zeuClientVrfStatus_;
  std::uint32_t zeuCrpInterval_ = zeuCrpIntervalDefault;
  double zeuNotifyDelay_ = zeuNotifyDelayDefault;
  bool initialized_ = false;
  Timer zeuTimer_;
  Subscription shutdownReactor_;
};

/// The machine as hosts make it.
ROUTING_API std::unique_ptr<ZeuSm> zeuSmFactory(
    std::shared_ptr<const Config> config, std::shared_ptr<Status> status, TimerWheel& timerWheel,
    std::shared_ptr<const ZeuShutdownStatus> zeuShutdownStatus,
    std::shared_ptr<ZeuVrfStatus> zeuVrfStatus);

}  // namespace Routing::Pim::Bsr
