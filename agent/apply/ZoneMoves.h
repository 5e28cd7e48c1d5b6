#pragma once

#include "agent/config/DaemonConfig.h"
#include "agent/config/PermittedLists.h"
#include "bsr/types/Config.h"

namespace Routing::Agent {

/// A family of one configuration, with the access lists of that configuration.
struct FamilyState {
  AddressFamily af;
  const FamilySettings& settings;
  PermittedLists& lists;
};

/// Before a configuration is changed into another one: deletes the candidate-BSR entries through
/// which some zone, or some access list, would have two interfaces on the way. Where possible these
/// are entries that go in any case; an entry that stays is to be written again.
///
/// On the way stand first the old entries while access lists are edited one by one, then old and
/// new entries with the lists as they will be.
void clearZoneMoves(Pim::Bsr::Config& config, const FamilyState& before, const FamilyState& after);

}  // namespace Routing::Agent
