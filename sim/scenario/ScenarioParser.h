#pragma once

#include <string>

#include "sim/scenario/Scenario.h"

namespace Routing::Sim {

/// Reads a scenario file (docs/simulator.md). Raises ScenarioError with file and line for anything
/// that is not understood: nothing is skipped.
Scenario readScenario(const std::string& file);

/// The same from text; `name` stands for the file in errors.
Scenario parseScenario(const std::string& text, const std::string& name);

}  // namespace Routing::Sim
