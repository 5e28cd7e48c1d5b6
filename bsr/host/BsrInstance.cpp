#include "bsr/host/BsrInstance.h"

#include <utility>

#include "bsr/config/ConfigSm.h"
#include "bsr/engine/PimBsrSm.h"
#include "bsr/intake/BootstrapMessageSm.h"
#include "bsr/intake/CrpMessageSm.h"
#include "bsr/upgrade/PimBsrZeuSm.h"

namespace Routing::Pim::Bsr {

std::shared_ptr<Status> newStatus(const VrfName& vrf, AddressFamily af) {
  auto status = std::make_shared<Status>(vrf);
  status->afIs(af);
  status->countersIs("counters");
  return status;
}

// Intake stands before the engine: an elected candidate that survived a restart sends its message
// while the engine is built. The engine stands before configuration, so that it says goodbye for
// what was deconfigured meanwhile.
BsrInstance::BsrInstance(const BsrInputs& inputs)
    : inputs_(inputs),
      deferred_(std::make_shared<DeferredDelete>()),
      bsmStatus_(std::make_shared<PimBsmStatus>()),
      crpMsgStatus_(std::make_shared<PimCrpMsgStatus>()),
      bsmIntake_(std::make_shared<BootstrapMessageSm>(inputs.pamManager, inputs.status, bsmStatus_,
                                                      inputs.pamManager->bsmRxInfo(),
                                                      *inputs.timerWheel, deferred_)),
      crpIntake_(std::make_shared<CrpMessageSm>(inputs.pamManager, inputs.status, crpMsgStatus_,
                                                inputs.pamManager->crpRxInfo(),
                                                inputs.ucastRouteStatus, deferred_)),
      engine_(std::make_shared<PimBsrSm>(inputs.status, inputs.pimStatus, bsmStatus_, crpMsgStatus_,
                                         inputs.rpCandidateStatus, *inputs.timerWheel,
                                         inputs.allIntfStatusDir,
                                         EngineOptions{inputs.limits, bsmIntake_.get(),
                                                       inputs.policy, inputs.random, deferred_})) {
  if (inputs.config) {
    configSm_ = std::make_unique<ConfigSm>(inputs.config, inputs.vrfIntfConfig, inputs.clearConfig,
                                           inputs.status, inputs.pamManager->counters(),
                                           inputs.sourceIntfSm, inputs.ipAclConfig);
  }
  if (inputs.zeuShutdownStatus && inputs.zeuVrfStatus) {
    zeuSm_ = zeuSmFactory(inputs.config, inputs.status, *inputs.timerWheel,
                          inputs.zeuShutdownStatus, inputs.zeuVrfStatus);
  }
}

// The engine uses the intake to the end: it goes first.
BsrInstance::~BsrInstance() {
  zeuSm_.reset();
  configSm_.reset();
  engine_->retire();
  crpIntake_->retire();
  bsmIntake_->retire();
  deferred_->take(std::move(engine_));
  deferred_->take(std::move(crpIntake_));
  deferred_->take(std::move(bsmIntake_));
}

}  // namespace Routing::Pim::Bsr
