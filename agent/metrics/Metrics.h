#pragma once

#include <prometheus/metric_family.h>

#include <vector>

#include "agent/view/AgentView.h"

namespace Routing::Agent {

/// Everything that is measured, as it stands: state, elections, RP sets, neighbours, messages by
/// type and reason, bounds, timers and memory. Every family is named pimbsr_... and described by
/// its help text; those of an instance have the labels vrf and family. In the event loop's thread
/// only.
std::vector<prometheus::MetricFamily> collectMetrics(const AgentView& view);

}  // namespace Routing::Agent
