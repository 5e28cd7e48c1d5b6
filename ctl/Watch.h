#pragma once

#include <iosfwd>

#include "ctl/Connection.h"
#include "ctl/Options.h"

namespace Routing::Ctl {

/// Follows changes until the time is up, the reader is gone or the daemon ends; returns the exit
/// code. A watch tells them in operators' words, after what is shown of its topic; a raw one tells
/// the log of attributes, and a subscription hands the daemon's lines on.
int watch(const Options& options, Connection& daemon, std::ostream& out);

}  // namespace Routing::Ctl
