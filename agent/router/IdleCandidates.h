#pragma once

#include <vector>

#include "agent/kernel/InterfaceTable.h"
#include "agent/view/IdleCandidate.h"
#include "bsr/types/Status.h"
#include "config/model/DaemonConfig.h"

namespace Routing::Agent {

/// The candidates of a VRF and family that are configured and that the status does not have.
std::vector<IdleCandidate> idleCandidates(const FamilySettings& settings,
                                          const InterfaceTable& interfaces,
                                          const Pim::Bsr::Status& status);

}  // namespace Routing::Agent
