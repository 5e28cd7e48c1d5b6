#include "bsr/upgrade/PimBsrZeuSm.h"

#include <utility>
#include <vector>

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

ZeuSm::ZeuSm(std::shared_ptr<const Config> config, std::shared_ptr<Status> status,
             TimerWheel& timerWheel, std::shared_ptr<const ZeuShutdownStatus> zeuShutdownStatus,
             std::shared_ptr<ZeuVrfStatus> zeuVrfStatus)
    : config_(std::move(config)),
      status_(std::move(status)),
      zeuClientShutdownStatus_(std::move(zeuShutdownStatus)),
      zeuClientVrfStatus_(std::move(zeuVrfStatus)),
      zeuTimer_(timerWheel, [this] { handleZeuTimerExpiry(); }),
      shutdownReactor_(zeuClientShutdownStatus_->shutdownReactor([this] { doZeuShutdown(); })) {
  handleInitialized();
}

void ZeuSm::handleInitialized() {
  doZeuShutdown();
  initialized_ = true;
}

void ZeuSm::doZeuShutdown() {
  BSR_TRACE(sm, 8, "doZeuShutdown", "()");
  if (!zeuClientShutdownStatus_->shutdown()) return;
  std::vector<std::shared_ptr<RpCandidate>> candidates;
  for (const auto& entry : status_->crp()) candidates.push_back(entry.second);
  for (const auto& candidate : candidates) candidate->intervalIs(CrpAdvInterval(zeuCrpInterval_));
  BSR_TRACE(sm, 8, "doZeuShutdown", "(), Starting the ZEU notification timer");
  zeuTimer_.expiryInIs(zeuNotifyDelay_);
}

void ZeuSm::handleZeuTimerExpiry() {
  BSR_TRACE(sm, 8, "handleZeuTimerExpiry", "()");
  zeuClientVrfStatus_->completedVrfIs(vrfName(), true);
  zeuTimer_.expiryIs(never);
}

std::unique_ptr<ZeuSm> zeuSmFactory(std::shared_ptr<const Config> config,
                                    std::shared_ptr<Status> status, TimerWheel& timerWheel,
                                    std::shared_ptr<const ZeuShutdownStatus> zeuShutdownStatus,
                                    std::shared_ptr<ZeuVrfStatus> zeuVrfStatus) {
  return std::make_unique<ZeuSm>(std::move(config), std::move(status), timerWheel,
                                 std::move(zeuShutdownStatus), std::move(zeuVrfStatus));
}

}  // namespace Routing::Pim::Bsr
