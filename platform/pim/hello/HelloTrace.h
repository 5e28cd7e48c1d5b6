#pragma once

#include "platform/trace/Trace.h"

namespace Routing::Pim {

/// "Pim::Hello": neighbours that come and go, elections, Hellos. Not for users of the Hello
/// machine.
extern TraceHandle helloTrace;

}  // namespace Routing::Pim
