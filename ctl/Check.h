#pragma once

#include <iosfwd>

#include "ctl/Options.h"

namespace Routing::Ctl {

/// Says what is to be said about a configuration file, one finding a line, and returns the exit
/// code.
int check(const Options& options, std::ostream& out);

}  // namespace Routing::Ctl
