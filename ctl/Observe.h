#pragma once

#include <iosfwd>

#include "ctl/Options.h"

namespace Routing::Ctl {

/// Listens on an interface, or reads a capture, and says what goes on there; needs no daemon and
/// sends nothing. An interface is heard until the time-out or SIGINT. Returns the exit code: 1
/// where more than one BSR speaks for a zone, fragments are missing or packets are bad.
int observe(const Options& options, std::ostream& out, std::ostream& err);

}  // namespace Routing::Ctl
