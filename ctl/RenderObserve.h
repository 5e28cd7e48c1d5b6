#pragma once

#include <string>

#include "ctl/Format.h"

namespace Routing::Ctl {

/// The report of an observation as text.
std::string renderObserve(const Json& report);
/// Whether one BSR speaks for each zone, whole messages came, and none were bad.
bool looksWell(const Json& report);

}  // namespace Routing::Ctl
