#pragma once

#include "config/entities/ConfigEntities.h"

namespace Routing::Agent {

/// Makes the entities of a family equal to its settings: time-outs, filter, borders, candidates.
void settingsAre(const FamilyEntities& entities, const FamilySettings& settings);

}  // namespace Routing::Agent
