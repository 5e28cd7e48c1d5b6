#pragma once

#include "agent/kernel/InterfaceTable.h"
#include "config/model/DaemonConfig.h"

/// What the log says of interfaces that the file names and the kernel has otherwise.
namespace Routing::Agent {

/// Interfaces that are absent or in another VRF: the first ones by name, of the rest their number,
/// for a file may name ten thousand.
void warnOfAbsent(const DaemonConfig& config, const InterfaceTable& interfaces);

/// One that leaves its configured VRF; one whose address is a candidate's, going down or up.
void warnOfChange(const DaemonConfig& config, const Interface& before, const Interface& now);

}  // namespace Routing::Agent
