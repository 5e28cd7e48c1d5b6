#include "sim/core/Beliefs.h"

#include <algorithm>
#include <set>

#include "sim/core/Digest.h"

namespace Routing::Sim {
namespace {

ZoneBelief& entry(Belief& belief, const IpGenPrefix& zone) {
  for (ZoneBelief& known : belief.zones) {
    if (known.zone == zone) return known;
  }
  belief.zones.push_back({});
  belief.zones.back().zone = zone;
  return belief.zones.back();
}

Belief beliefOf(const Speaker& speaker) {
  Belief belief;
  if (!speaker.running()) return belief;
  const Pim::Bsr::Status& status = *speaker.status();
  for (const auto& [zone, record] : status.bootstrapRouter()) {
    ZoneBelief& about = entry(belief, zone);
    about.bsr = record->ipAddr();
    about.priority = record->priority();
    about.hashMaskLen = record->hashMaskLen();
  }
  for (const auto& [zone, candidate] : status.cbsr()) {
    ZoneBelief& about = entry(belief, zone);
    about.state = candidate->state();
    about.elected = candidate->elected();
  }
  for (const auto& [zone, rpSets] : status.crpStatus()) {
    if (!rpSets->status()) continue;
    std::uint32_t rps = 0;
    const std::uint64_t digest = rpSetDigest(*rpSets->status(), rps);
    if (rps == 0) continue;
    ZoneBelief& about = entry(belief, zone);
    about.rps = rps;
    about.rpDigest = digest;
  }
  std::sort(belief.zones.begin(), belief.zones.end(),
            [](const ZoneBelief& a, const ZoneBelief& b) { return a.zone < b.zone; });
  belief.viewDigest = rpSetDigest(*speaker.view(), belief.viewRps);
  return belief;
}

}  // namespace

const ZoneBelief* Belief::zone(const IpGenPrefix& prefix) const {
  for (const ZoneBelief& known : zones) {
    if (known.zone == prefix) return &known;
  }
  return nullptr;
}

std::uint64_t rpSetDigest(const Pim::RpCandidateStatus& set, std::uint32_t& rps) {
  Digest digest;
  for (const auto& [range, group] : set.crpSet()) {
    if (group->rp().empty()) continue;
    digest.add(range);
    for (const auto& [address, rp] : group->rp()) {
      ++rps;
      digest.add(address);
      digest.add(std::uint64_t{rp->priority().value()} << 32 |
                 std::uint64_t{rp->hashMaskLen().value()} << 8 |
                 static_cast<std::uint64_t>(rp->mode()));
    }
  }
  return digest.value();
}

Beliefs::Beliefs(World& world) : world_(world), belief_(world.families().size()) {
  for (auto& family : belief_) family.resize(world.topology().routers().size());
  for (std::size_t family = 0; family < belief_.size(); ++family) {
    for (RouterId id = 0; id < belief_[family].size(); ++id) renew(id, family);
  }
  world.observerIs(*this);
}

const Belief& Beliefs::of(RouterId router, AddressFamily af) const {
  const auto& families = world_.families();
  const auto place = std::find(families.begin(), families.end(), af) - families.begin();
  return belief_.at(static_cast<std::size_t>(place))[router];
}

std::vector<IpGenPrefix> Beliefs::zones(AddressFamily af) const {
  std::set<IpGenPrefix> all;
  for (RouterId id = 0; id < world_.topology().routers().size(); ++id) {
    for (const ZoneBelief& about : of(id, af).zones) all.insert(about.zone);
  }
  return {all.begin(), all.end()};
}

void Beliefs::settled(const std::vector<RouterId>& touched) {
  for (const RouterId router : touched) {
    for (std::size_t family = 0; family < belief_.size(); ++family) renew(router, family);
  }
}

void Beliefs::renew(RouterId router, std::size_t family) {
  const AddressFamily af = world_.families()[family];
  Belief now = beliefOf(world_.speaker(router, af));
  if (now == belief_[family][router]) return;
  const Belief before = std::exchange(belief_[family][router], std::move(now));
  ++changes_;
  for (const Listener& listener : listeners_) listener(router, af, before);
}

}  // namespace Routing::Sim
