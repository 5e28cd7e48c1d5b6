#pragma once

#include <iosfwd>

#include "ctl/Connection.h"
#include "ctl/Options.h"

namespace Routing::Ctl {

/// Has this router withdraw candidacies, waits for others to take over if it is asked to, and says
/// how far that went. Returns the exit code: what has not come in time is a problem.
int drain(const Options& options, Connection& daemon, std::ostream& out);
/// Has this router be a candidate again wherever it is configured to be one.
int undrain(const Options& options, Connection& daemon, std::ostream& out);

}  // namespace Routing::Ctl
