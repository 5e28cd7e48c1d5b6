#include "bsr/host/BsrInstance.h"

#include "bsr/engine/PimBsrSm.h"
#include "bsr/intake/BootstrapMessageSm.h"
#include "bsr/intake/CrpMessageSm.h"

namespace Routing::Pim::Bsr {

// Intake stands before the engine: an elected candidate that survived a restart sends its message
// while the engine is built.
BsrInstance::BsrInstance(const BsrInputs& inputs)
    : inputs_(inputs),
      bsmStatus_(std::make_shared<PimBsmStatus>()),
      crpMsgStatus_(std::make_shared<PimCrpMsgStatus>()),
      bsmIntake_(std::make_unique<BootstrapMessageSm>(inputs.pamManager, inputs.status, bsmStatus_,
                                                      inputs.pamManager->bsmRxInfo(),
                                                      *inputs.timerWheel)),
      crpIntake_(std::make_unique<CrpMessageSm>(inputs.pamManager, inputs.status, crpMsgStatus_,
                                                inputs.pamManager->crpRxInfo(),
                                                inputs.ucastRouteStatus)),
      engine_(std::make_unique<PimBsrSm>(
          inputs.status, inputs.pimStatus, bsmStatus_, crpMsgStatus_, inputs.rpCandidateStatus,
          *inputs.timerWheel, inputs.allIntfStatusDir, inputs.limits, bsmIntake_.get())) {}

BsrInstance::~BsrInstance() = default;

}  // namespace Routing::Pim::Bsr
