#pragma once

#include <iosfwd>

#include "ctl/Connection.h"
#include "ctl/Options.h"

namespace Routing::Ctl {

/// Seconds that the instances have to get ready unless the operator says otherwise.
inline constexpr double upgradeTimeout = 30.0;

/// Has the daemon prepare for its replacement and waits until every VRF and family is ready.
/// Returns the exit code: one that is not ready in time is a problem.
int prepareUpgrade(const Options& options, Connection& daemon, std::ostream& out);

}  // namespace Routing::Ctl
