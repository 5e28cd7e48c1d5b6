#include "sim/invariants/SameRp.h"

#include <map>

#include "sim/core/Groups.h"
#include "sim/core/ZoneParts.h"

namespace Routing::Sim {
namespace {

constexpr RouterId mostRouters = 64;  // looked at, of all that there are
constexpr unsigned mostGroups = 8;

}  // namespace

void SameRp::judge() {
  for (const AddressFamily af : world().families()) judgeFamily(af);
}

std::vector<IpGenAddr> SameRp::sampleGroups(AddressFamily af) {
  std::vector<IpGenAddr> groups;
  const auto routers = world().topology().routers().size();
  while (groups.size() < mostGroups) {
    const auto id = static_cast<RouterId>(random_.below(routers));
    const auto& ranges = world().speaker(id, af).view()->crpSet();
    if (ranges.empty()) {
      groups.push_back(groupWithin(IpGenPrefix::multicast(af), random_));
      continue;
    }
    auto it = ranges.begin();
    std::advance(it, random_.below(ranges.size()));
    groups.push_back(groupWithin(it->first, random_));
  }
  return groups;
}

void SameRp::judgeFamily(AddressFamily af) {
  const std::vector<IpGenPrefix> zones = beliefs().zones(af);
  std::vector<std::vector<std::uint32_t>> partsOfZones(zones.size());
  for (std::size_t i = 0; i < zones.size(); ++i) partsOfZones[i] = partsOf(world(), zones[i]);
  const auto routers = static_cast<RouterId>(world().topology().routers().size());
  const RouterId step = 1 + routers / mostRouters;
  for (const IpGenAddr& group : sampleGroups(af)) {
    std::map<std::vector<std::uint32_t>, std::pair<RouterId, IpGenAddr>> answers;
    for (RouterId id = 0; id < routers; id += step) {
      if (!world().up(id)) continue;
      std::vector<std::uint32_t> place(zones.size());
      for (std::size_t i = 0; i < zones.size(); ++i) place[i] = partsOfZones[i][id];
      const IpGenAddr rp = rpOf(world().speaker(id, af), group);
      const auto& [other, theirs] = answers.try_emplace(place, id, rp).first->second;
      if (theirs == rp) continue;
      return violated(nameOf(id) + " maps " + group.text() + " to " + rp.text() + ", " +
                      nameOf(other) + " to " + theirs.text());
    }
  }
}

}  // namespace Routing::Sim
