#pragma once

#include "agent/apply/ConfigEntities.h"

namespace Routing::Agent {

/// Adds and changes what the settings of a family say: time-outs, filter, borders, candidates.
void addSettings(const FamilyEntities& entities, const FamilySettings& settings);
/// Deletes what they do not say.
void removeSettings(const FamilyEntities& entities, const FamilySettings& settings);

}  // namespace Routing::Agent
