#include "agent/control/ZoneMachine.h"

#include "bsr/engine/BsrCandidateSm.h"
#include "bsr/engine/BsrNonCandidateSm.h"
#include "bsr/engine/PimBsrSm.h"

namespace Routing::Agent {

std::shared_ptr<const Pim::Bsr::ZoneSm> zoneMachine(const ShowInput& in, const IpGenPrefix& zone) {
  const Pim::Bsr::PimBsrSm* engine = in.instance.engine;
  if (engine == nullptr) return nullptr;
  if (auto candidate = engine->candidateSm(zone)) return candidate;
  return engine->nonCandidateSm(zone);
}

}  // namespace Routing::Agent
