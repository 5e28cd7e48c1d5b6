#include "sim/continuity/Supply.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

#include "platform/pim/rp/RpSelection.h"
#include "sim/core/Groups.h"
#include "sim/core/ZoneParts.h"

namespace Routing::Sim {
namespace {

constexpr std::size_t groupsOfARange = 8;
constexpr std::size_t mostGroups = 64;    // one for each range if there are more ranges
constexpr std::size_t mostRanges = 1024;  // that are sampled at all
constexpr unsigned mostDraws = 64;

/// Groups that no candidate RP ever serves.
bool withoutRp(const IpGenAddr& group) {
  return Pim::isSsmGroup(group) || Pim::isEmbeddedRpGroup(group);
}

}  // namespace

Supply::Supply(const World& world, AddressFamily af, std::set<IpGenPrefix> ranges)
    : world_(world), af_(af), random_(world.seed()) {
  noteGroups(std::move(ranges));
  refresh();
}

void Supply::refresh() {
  noteZones();
  noteGroups();
  drawParts();
  drawDomains();
  serve();
}

bool Supply::rpDue(RouterId router, std::size_t group) const {
  return served_[group].contains(place(router, group));
}

bool Supply::bsrDue(RouterId router, std::size_t zone) const {
  return withBsr_[zone].contains(parts_[zone][router]);
}

std::uint32_t Supply::place(RouterId router, std::size_t group) const {
  return domains_[domain_[group]].places[router];
}

// --- what there is to ask for -----------------------------------------------------------------

void Supply::noteZones() {
  for (RouterId id = 0; id < routers(); ++id) {
    for (const auto& [zone, interval] : duties(id).zones) {
      const bool known = std::find(zones_.begin(), zones_.end(), zone) != zones_.end();
      if (!known) zones_.push_back(zone);
    }
  }
}

void Supply::noteGroups(std::set<IpGenPrefix> fresh) {
  for (RouterId id = 0; id < routers(); ++id) {
    for (const auto& [address, rp] : duties(id).rps) {
      for (const auto& [range, priority] : rp.ranges) {
        if (!sampled_.contains(range)) fresh.insert(range);
      }
    }
  }
  for (const IpGenPrefix& range : fresh) {
    if (sampled_.size() >= mostRanges) return;
    sampled_.insert(range);
    sample(range, std::clamp<std::size_t>(mostGroups / fresh.size(), 1, groupsOfARange));
  }
}

void Supply::sample(const IpGenPrefix& range, std::size_t groups) {
  std::set<IpGenAddr> drawn;
  for (unsigned draw = 0; draw < mostDraws && drawn.size() < groups; ++draw) {
    const IpGenAddr group = groupWithin(range, random_);
    if (!withoutRp(group) && drawn.insert(group).second) groups_.push_back({range, group});
  }
}

// --- who can have it --------------------------------------------------------------------------

void Supply::drawParts() {
  parts_.clear();
  for (const IpGenPrefix& zone : zones_) parts_.push_back(partsOf(world_, zone));
  withBsr_.assign(zones_.size(), {});
  for (RouterId id = 0; id < routers(); ++id) {
    if (!world_.up(id)) continue;
    for (const auto& [prefix, interval] : duties(id).zones) {
      const auto zone = static_cast<std::size_t>(std::find(zones_.begin(), zones_.end(), prefix) -
                                                 zones_.begin());
      withBsr_[zone].insert(parts_[zone][id]);
    }
  }
}

void Supply::drawDomains() {
  std::map<std::vector<std::size_t>, std::size_t> known;
  domains_.clear();
  domain_.clear();
  for (const Group& group : groups_) {
    std::vector<std::size_t> zones;
    for (std::size_t zone = 0; zone < zones_.size(); ++zone) {
      if (zones_[zone].contains(group.address)) zones.push_back(zone);
    }
    const auto [it, fresh] = known.try_emplace(zones, domains_.size());
    if (fresh) domains_.push_back(domainOf(zones));
    domain_.push_back(it->second);
  }
}

Supply::Domain Supply::domainOf(const std::vector<std::size_t>& zones) const {
  Domain domain{zones, Places(routers(), 0)};
  for (const std::size_t zone : zones) {
    std::unordered_map<std::uint64_t, std::uint32_t> known;
    for (RouterId id = 0; id < routers(); ++id) {
      const std::uint64_t both = std::uint64_t{domain.places[id]} << 32 | parts_[zone][id];
      const auto number = static_cast<std::uint32_t>(known.size());
      domain.places[id] = known.try_emplace(both, number).first->second;
    }
  }
  return domain;
}

void Supply::serve() {
  served_.assign(groups_.size(), {});
  for (RouterId id = 0; id < routers(); ++id) {
    if (!world_.up(id)) continue;
    for (const auto& [address, rp] : duties(id).rps) {
      for (const auto& [range, priority] : rp.ranges) serve(id, range);
    }
  }
}

void Supply::serve(RouterId rp, const IpGenPrefix& range) {
  for (std::size_t group = 0; group < groups_.size(); ++group) {
    if (!range.contains(groups_[group].address)) continue;
    for (const std::size_t zone : domains_[domain_[group]].zones) {
      if (zones_[zone].contains(range) && bsrDue(rp, zone)) served_[group].insert(place(rp, group));
    }
  }
}

}  // namespace Routing::Sim
