#pragma once

#include <string>
#include <vector>

#include "platform/Export.h"

namespace Routing {

/// The names of all trace facilities of the process, in their order.
ROUTING_API std::vector<std::string> traceFacilities();

}  // namespace Routing
