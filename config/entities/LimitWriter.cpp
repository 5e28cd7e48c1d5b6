#include "config/entities/LimitWriter.h"

namespace Routing::Agent {

void limitsAre(Pim::Bsr::PimBsrLimits& limits, const LimitSettings& settings) {
  limits.maxZonesIs(settings.zones);
  limits.maxGroupsIs(settings.groups);
  limits.maxRpsIs(settings.rps);
  limits.maxFragmentsIs(settings.fragments);
}

}  // namespace Routing::Agent
