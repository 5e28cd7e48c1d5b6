#pragma once

#include <string>

#include "tests/support/BsrRouter.h"

namespace Routing::TestKit {

/// What is wrong with a router at rest (no timer due), in words; empty if nothing. Judged from what
/// the router shows, without its own code for it:
///   - no RP stays beyond its hold time, neither in a zone nor in PIM's view;
///   - PIM sees a range as its most specific zone with a BSR has it; where that has nothing, as a
///     zone without BSR left it, unless a more specific zone took over since;
///   - zone trie, machines, records, timers and intake's last messages agree;
///   - the limits are kept, and every received Bootstrap message is counted once.
std::string bsrFault(BsrRouter& router);

}  // namespace Routing::TestKit
