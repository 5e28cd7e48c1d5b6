#pragma once

#include "config/judge/PermittedLists.h"
#include "platform/pim/hello/HelloConfig.h"

namespace Routing::Agent {

/// How Hellos are sent and read on an interface of a family.
Pim::HelloConfig helloConfig(const InterfaceSettings& settings, AddressFamily af,
                             PermittedLists& lists);

}  // namespace Routing::Agent
