#pragma once

#include <map>
#include <string>

#include "bsr/types/Config.h"
#include "config/model/DaemonConfig.h"

/// Candidates by interface name, from settings to entities.
namespace Routing::Agent {

using BsrCandidates = std::map<std::string, BsrInterfaceSettings>;
using RpCandidates = std::map<std::string, RpInterfaceSettings>;

/// Make the entities equal to the settings.
void bsrCandidatesAre(Pim::Bsr::Config& config, const BsrCandidates& candidates);
void rpCandidatesAre(Pim::Bsr::Config& config, const RpCandidates& candidates);

}  // namespace Routing::Agent
