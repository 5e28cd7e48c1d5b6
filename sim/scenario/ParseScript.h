#pragma once

#include "sim/scenario/Scenario.h"
#include "sim/scenario/YamlReader.h"

namespace Routing::Sim {

/// What happens and what is expected, each with its time:
///   - {at: 120, crash: r1}
///   - {at: 300, expect: {bsr: r2}}
void parseScript(const YamlValue& list, Scenario& scenario);

/// What must be true at the end; items as behind `expect`.
void parseFinally(const YamlValue& list, Scenario& scenario);

}  // namespace Routing::Sim
