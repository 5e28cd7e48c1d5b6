#pragma once

#include <iosfwd>

#include "ctl/Options.h"

namespace Routing::Ctl {

/// Does what the command line asks for and returns the exit code. What was asked for goes to `out`,
/// complaints to `err`.
int run(const Options& options, std::ostream& out, std::ostream& err);

}  // namespace Routing::Ctl
