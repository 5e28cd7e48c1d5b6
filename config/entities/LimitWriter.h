#pragma once

#include "bsr/types/Limits.h"
#include "config/model/DaemonConfig.h"

namespace Routing::Agent {

/// Makes the limits of an instance equal to those configured. They are the host's entity and no
/// part of what ConfigEntities writes.
void limitsAre(Pim::Bsr::PimBsrLimits& limits, const LimitSettings& settings);

}  // namespace Routing::Agent
