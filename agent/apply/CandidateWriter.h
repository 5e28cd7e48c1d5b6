#pragma once

#include <map>
#include <string>

#include "agent/config/DaemonConfig.h"
#include "bsr/types/Config.h"

/// Candidates by interface name, from settings to entities.
namespace Routing::Agent {

using BsrCandidates = std::map<std::string, BsrCandidate>;
using RpCandidates = std::map<std::string, RpCandidate>;

/// Adds and changes. An entry becomes complete with its last attribute.
void addBsrCandidates(Pim::Bsr::Config& config, const BsrCandidates& candidates);
void removeBsrCandidates(Pim::Bsr::Config& config, const BsrCandidates& candidates);

/// Adds and changes. A range comes with its priority.
void addRpCandidates(Pim::Bsr::Config& config, const RpCandidates& candidates);
void removeRpCandidates(Pim::Bsr::Config& config, const RpCandidates& candidates);

}  // namespace Routing::Agent
