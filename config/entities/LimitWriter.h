#pragma once

#include "bsr/types/Limits.h"
#include "config/model/DaemonConfig.h"

namespace Routing::Agent {

/// Makes the limits of an instance equal to those configured.
void limitsAre(Pim::Bsr::PimBsrLimits& limits, const LimitSettings& settings);

}  // namespace Routing::Agent
