#pragma once

#include "bsr/types/Status.h"
#include "platform/Export.h"

/// What both zone machines do to the record of a zone's elected BSR.
namespace Routing::Pim::Bsr {

/// True if the record names a BSR: it has an address and a priority.
ROUTING_API bool namesBsr(const ElectedBsrStatus& bsr);

/// Sets when the record's bootstrap timer expires, and its times for display.
ROUTING_API void expiryTimeIs(ElectedBsrStatus& bsr, double expiryTime, double now);

}  // namespace Routing::Pim::Bsr
