#pragma once

#include <iosfwd>

#include "sim/report/ContinuityStudy.h"

namespace Routing::Sim {

/// The distribution of each kind of gap over all runs, and by router.
void writeContinuity(std::ostream& out, const ContinuityStudy& study);

}  // namespace Routing::Sim
