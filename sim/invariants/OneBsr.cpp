#include "sim/invariants/OneBsr.h"

#include <map>

#include "sim/core/ZoneParts.h"

namespace Routing::Sim {
namespace {

struct Part {
  RouterId first;
  const ZoneBelief* belief;
  std::vector<RouterId> elected;
};

const ZoneBelief nothing{};

}  // namespace

void OneBsr::judge() {
  for (const AddressFamily af : world().families()) {
    for (const IpGenPrefix& zone : beliefs().zones(af)) judgeZone(zone);
  }
}

void OneBsr::judgeZone(const IpGenPrefix& zone) {
  const auto partOf = partsOf(world(), zone);
  std::map<std::uint32_t, Part> parts;
  for (RouterId id = 0; id < partOf.size(); ++id) {
    if (!world().up(id)) continue;
    const ZoneBelief* belief = beliefs().of(id, zone.af()).zone(zone);
    if (belief == nullptr) belief = &nothing;
    Part& part = parts.try_emplace(partOf[id], Part{id, belief, {}}).first->second;
    if (belief->elected) part.elected.push_back(id);
    const ZoneBelief& other = *part.belief;
    if (belief->bsr != other.bsr || belief->priority != other.priority ||
        belief->hashMaskLen != other.hashMaskLen) {
      return violated(nameOf(id) + " believes in " + belief->bsr.text() + ", " +
                      nameOf(part.first) + " in " + other.bsr.text() + " for " + zone.text());
    }
  }
  for (const auto& [number, part] : parts) {
    if (part.elected.size() > 1) {
      return violated(nameOf(part.elected[0]) + " and " + nameOf(part.elected[1]) +
                      " are both elected for " + zone.text());
    }
    if (part.belief->bsr.isUnset()) continue;
    if (part.elected.empty() ||
        !world().speaker(part.elected[0], zone.af()).owns(part.belief->bsr)) {
      return violated(nameOf(part.first) + " believes in " + part.belief->bsr.text() + " for " +
                      zone.text() + ", which nobody is");
    }
  }
}

}  // namespace Routing::Sim
