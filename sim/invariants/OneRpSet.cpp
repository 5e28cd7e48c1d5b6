#include "sim/invariants/OneRpSet.h"

#include <map>

#include "sim/core/ZoneParts.h"

namespace Routing::Sim {

void OneRpSet::judge() {
  for (const AddressFamily af : world().families()) judgeFamily(af);
}

void OneRpSet::judgeFamily(AddressFamily af) {
  const auto routers = static_cast<RouterId>(world().topology().routers().size());
  std::vector<std::vector<std::uint32_t>> place(routers);  // the router's part of every zone
  for (const IpGenPrefix& zone : beliefs().zones(af)) {
    const auto partOf = partsOf(world(), zone);
    std::map<std::uint32_t, RouterId> first;
    for (RouterId id = 0; id < routers; ++id) {
      place[id].push_back(partOf[id]);
      if (!world().up(id)) continue;
      const RouterId other = first.try_emplace(partOf[id], id).first->second;
      const ZoneBelief* mine = beliefs().of(id, af).zone(zone);
      const ZoneBelief* theirs = beliefs().of(other, af).zone(zone);
      const auto digest = [](const ZoneBelief* belief) { return belief ? belief->rpDigest : 0; };
      if (digest(mine) == digest(theirs)) continue;
      return violated(nameOf(id) + " has " + std::to_string(mine ? mine->rps : 0) + " RPs for " +
                      zone.text() + ", " + nameOf(other) + " has other " +
                      std::to_string(theirs ? theirs->rps : 0));
    }
  }
  std::map<std::vector<std::uint32_t>, RouterId> first;
  for (RouterId id = 0; id < routers; ++id) {
    if (!world().up(id)) continue;
    const RouterId other = first.try_emplace(place[id], id).first->second;
    if (beliefs().of(id, af).viewDigest == beliefs().of(other, af).viewDigest) continue;
    return violated("PIM's view of " + nameOf(id) + " differs from that of " + nameOf(other));
  }
}

}  // namespace Routing::Sim
