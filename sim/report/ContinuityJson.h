#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sim/report/ContinuityStudy.h"

namespace Routing::Sim {

using ContinuityStudies = std::vector<std::unique_ptr<ContinuityStudy>>;

/// All that the text says, and the values behind it, for programs.
std::string continuityJson(const ContinuityStudies& studies);

/// The same as a page with pictures, which needs nothing but a browser; with one run of each
/// scenario in full, where the study has it.
std::string continuityHtml(const ContinuityStudies& studies);

}  // namespace Routing::Sim
