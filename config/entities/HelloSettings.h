#pragma once

#include "config/judge/PermittedLists.h"
#include "platform/pim/hello/HelloConfig.h"

namespace Routing::Agent {

/// How Hellos are sent and read on an interface of a family; the first one within so many seconds,
/// well below 5, so that neighbours prime a newcomer soon.
Pim::HelloConfig helloConfig(const InterfaceSettings& settings, AddressFamily af, double firstDelay,
                             PermittedLists& lists);

}  // namespace Routing::Agent
