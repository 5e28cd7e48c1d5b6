#pragma once

#include <iosfwd>

#include "ctl/Connection.h"
#include "ctl/Options.h"

namespace Routing::Ctl {

/// Has the daemon read its configuration again, and says what came of it. Returns the exit code: a
/// file that cannot be used is a problem.
int reload(const Options& options, Connection& daemon, std::ostream& out, std::ostream& err);

}  // namespace Routing::Ctl
