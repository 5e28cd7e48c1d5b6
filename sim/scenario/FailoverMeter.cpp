#include "sim/scenario/FailoverMeter.h"

#include <algorithm>

#include "sim/invariants/Quiet.h"

namespace Routing::Sim {

FailoverMeter::FailoverMeter(World& world, const Beliefs& beliefs, const IpGenPrefix& zone)
    : world_(world), beliefs_(beliefs), zone_(zone) {
  world.observerIs(*this);
}

const ZoneBelief* FailoverMeter::beliefOf(const IpGenAddr& bsr) const {
  const auto routers = static_cast<RouterId>(world_.topology().routers().size());
  for (RouterId id = 0; id < routers; ++id) {
    if (!world_.up(id) || !world_.speaker(id, zone_.af()).owns(bsr)) continue;
    return beliefs_.of(id, zone_.af()).zone(zone_);
  }
  return nullptr;
}

bool FailoverMeter::alive(const IpGenAddr& bsr) const {
  const ZoneBelief* belief = beliefOf(bsr);
  return belief != nullptr && belief->elected;
}

bool FailoverMeter::dead(const IpGenAddr& bsr) const {
  const ZoneBelief* belief = beliefOf(bsr);
  return belief == nullptr || (!belief->elected && !alive(belief->bsr));
}

IpGenAddr FailoverMeter::agreed() const {
  std::optional<IpGenAddr> common;
  const auto routers = static_cast<RouterId>(world_.topology().routers().size());
  for (RouterId id = 0; id < routers; ++id) {
    if (!world_.up(id)) continue;
    const ZoneBelief* belief = beliefs_.of(id, zone_.af()).zone(zone_);
    if (belief == nullptr || belief->bsr.isUnset()) return {};
    if (common && *common != belief->bsr) return {};
    common = belief->bsr;
  }
  return common && alive(*common) ? *common : IpGenAddr{};
}

void FailoverMeter::settled(const std::vector<RouterId>& touched) {
  if (touched.empty()) return;
  if (!death_ && !current_.isUnset() && dead(current_)) death_ = world_.now();
  const IpGenAddr bsr = agreed();
  if (bsr.isUnset()) return;
  current_ = bsr;
  if (!death_) return;
  durations_.push_back(world_.now() - *death_);
  death_.reset();
}

double failoverBound(const World& world) {
  double timeout = 0;
  for (RouterId id = 0; id < world.topology().routers().size(); ++id) {
    for (const AddressFamily af : world.families()) {
      timeout = std::max<double>(timeout, world.speaker(id, af).duties().holdTime);
    }
  }
  return timeout + longestBackOff + floodingTime(world);
}

}  // namespace Routing::Sim
