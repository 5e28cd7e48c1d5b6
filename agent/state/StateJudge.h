#pragma once

#include "bsr/types/Limits.h"
#include "bsr/types/Status.h"

namespace Routing::Agent {

/// Judges a status that comes out of a file before any machine sees it, at the instant `now`.
/// Raises StateFault for what no running instance of the family and with these limits can have come
/// to. Takes away what has run out meanwhile: RPs at their expiry, BSRs that were not heard again
/// in time, and an office whose followers have given it up. No RP stays longer than its hold time
/// from now.
void judgeState(Pim::Bsr::Status& status, AddressFamily af, double now,
                const Pim::Bsr::PimBsrLimits& limits);

}  // namespace Routing::Agent
