#pragma once

#include <memory>

#include "bsr/types/Limits.h"
#include "bsr/types/MessageStatus.h"
#include "bsr/types/Status.h"
#include "platform/pim/AllIntfStatusDir.h"
#include "platform/pim/PamManager.h"
#include "platform/pim/PimStatus.h"
#include "platform/pim/PimUcastRouteStatus.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim::Bsr {

class BootstrapMessageSm;
class CrpMessageSm;
class PimBsrSm;

/// What a host gives the mechanism in one VRF and address family. All are required and are shared
/// with the instance; the timer wheel must outlive it.
struct BsrInputs {
  std::shared_ptr<Status> status;  ///< with its address family set
  std::shared_ptr<const PimStatus> pimStatus;
  std::shared_ptr<PamManager> pamManager;
  std::shared_ptr<const PimUcastRouteStatus> ucastRouteStatus;
  std::shared_ptr<const AllIntfStatusDir> allIntfStatusDir;
  std::shared_ptr<RpCandidateStatus> rpCandidateStatus;  ///< PIM's view, written here
  std::shared_ptr<PimBsrLimits> limits;
  TimerWheel* timerWheel = nullptr;
};

/// The mechanism in one VRF and address family: its machines, built in the order that their
/// hand-overs need and destroyed in reverse. Destruction changes nothing in the status.
class ROUTING_API BsrInstance {
 public:
  explicit BsrInstance(const BsrInputs& inputs);
  BsrInstance(const BsrInstance&) = delete;
  BsrInstance& operator=(const BsrInstance&) = delete;
  ~BsrInstance();

  const BsrInputs& inputs() const { return inputs_; }
  const std::shared_ptr<PimBsmStatus>& bsmStatus() const { return bsmStatus_; }
  const std::shared_ptr<PimCrpMsgStatus>& crpMsgStatus() const { return crpMsgStatus_; }
  PimBsrSm& engine() { return *engine_; }
  BootstrapMessageSm& bsmIntake() { return *bsmIntake_; }
  CrpMessageSm& crpIntake() { return *crpIntake_; }

 private:
  BsrInputs inputs_;
  std::shared_ptr<PimBsmStatus> bsmStatus_;
  std::shared_ptr<PimCrpMsgStatus> crpMsgStatus_;
  std::unique_ptr<BootstrapMessageSm> bsmIntake_;
  std::unique_ptr<CrpMessageSm> crpIntake_;
  std::unique_ptr<PimBsrSm> engine_;
};

}  // namespace Routing::Pim::Bsr
