#include "sim/invariants/QuietRules.h"

#include <algorithm>
#include <map>
#include <memory>

#include "sim/core/Groups.h"
#include "sim/core/Random.h"
#include "sim/core/ZoneParts.h"

namespace Routing::Sim {

void QuietInvariant::settled(const std::vector<RouterId>&) {
  const std::pair state(beliefs_.changes(), world().lastDisturbance());
  if (seen_ == state || world().messagesInFlight() > 0) return;
  if (!settling_) settling_ = settlingTimes(world());
  if (world().now() < world().lastDisturbance() + settlingTime(*settling_)) return;
  seen_ = state;
  ++judged_;
  judge();
}

namespace {

// --- one BSR ---------------------------------------------------------------------------------

struct Part {
  RouterId first;
  const ZoneBelief* belief;
  std::vector<RouterId> elected;
};

const ZoneBelief nothing{};

/// Once quiet, every connected part of a zone has at most one elected BSR, all its routers hold the
/// same BSR with the same priority and hash mask length, and it is one that is elected there.
class OneBsr final : public QuietInvariant {
 public:
  OneBsr(World& world, const Beliefs& beliefs, std::vector<Violation>& violations)
      : QuietInvariant("one BSR", world, beliefs, violations) {}

 private:
  double settlingTime(const SettlingTimes& times) const override { return times.bsr; }
  void judge() override;
  void judgeZone(const IpGenPrefix& zone);
};

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

// --- one RP set ------------------------------------------------------------------------------

/// Once quiet, all routers of a connected part of a zone hold the same RP set of it, the elected
/// BSR included; and PIM's view is the same wherever the same zones are.
class OneRpSet final : public QuietInvariant {
 public:
  OneRpSet(World& world, const Beliefs& beliefs, std::vector<Violation>& violations)
      : QuietInvariant("one RP set", world, beliefs, violations) {}

 private:
  double settlingTime(const SettlingTimes& times) const override { return times.rpSet; }
  void judge() override;
  void judgeFamily(AddressFamily af);
};

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

// --- same RP ---------------------------------------------------------------------------------

constexpr RouterId mostRouters = 64;  // looked at, of all that there are
constexpr unsigned mostGroups = 8;

/// Once quiet, every sampled group has the same RP wherever the same zones are.
class SameRp final : public QuietInvariant {
 public:
  SameRp(World& world, const Beliefs& beliefs, std::vector<Violation>& violations)
      : QuietInvariant("same RP", world, beliefs, violations), random_(world.seed()) {}

 private:
  double settlingTime(const SettlingTimes& times) const override { return times.rpSet; }
  void judge() override;
  void judgeFamily(AddressFamily af);
  std::vector<IpGenAddr> sampleGroups(AddressFamily af);

  Random random_;  // its own, so that looking changes nothing
};

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

// --- candidates serve ------------------------------------------------------------------------

/// Once quiet, every candidate RP that the BSR permits sees itself in the RP set, for each of its
/// ranges, with the priority and mode that it announces; but for a range with as many better ones
/// as a message can name.
class CandidatesServe final : public QuietInvariant {
 public:
  CandidatesServe(World& world, const Beliefs& beliefs, std::vector<Violation>& violations)
      : QuietInvariant("candidates serve", world, beliefs, violations) {}

 private:
  double settlingTime(const SettlingTimes& times) const override { return times.rpSet; }
  void judge() override;
  void judgeRange(RouterId router, const Speaker& speaker, const IpGenAddr& address,
                  const IpGenPrefix& range);
  static bool full(const Pim::RpCandidateSet& set, std::uint16_t priority);
  bool permitted(const IpGenAddr& bsr, const IpGenAddr& rp) const;
};

void CandidatesServe::judge() {
  for (RouterId id = 0; id < world().topology().routers().size(); ++id) {
    if (!world().up(id)) continue;
    for (const AddressFamily af : world().families()) {
      const Speaker& speaker = world().speaker(id, af);
      for (const auto& [address, rp] : speaker.duties().rps) {
        for (const auto& [range, priority] : rp.ranges) judgeRange(id, speaker, address, range);
      }
    }
  }
}

void CandidatesServe::judgeRange(RouterId router, const Speaker& speaker, const IpGenAddr& address,
                                 const IpGenPrefix& range) {
  const Duties::Rp& candidate = speaker.duties().rps.at(address);
  const ZoneBelief* zone = nullptr;  // the most specific one that the router knows a BSR of
  for (const ZoneBelief& known : beliefs().of(router, speaker.af()).zones) {
    if (known.zone.contains(range) && !known.bsr.isUnset()) zone = &known;
  }
  if (zone == nullptr || !permitted(zone->bsr, address)) return;
  const auto& set = speaker.view()->crpSet(range);
  const auto rp = set ? set->rp(address) : nullptr;
  const std::string about =
      nameOf(router) + ", candidate RP " + address.text() + " for " + range.text() + ", ";
  if (!rp && set && full(*set, candidate.ranges.at(range))) return;
  if (!rp) return violated(about + "is not in its own RP set");
  const bool bidirectional = rp->mode() == Pim::PimMode::bidirectional;
  if (rp->priority().value() != candidate.ranges.at(range) ||
      bidirectional != candidate.bidirectional) {
    violated(about + "is in its RP set with another priority or mode");
  }
}

bool CandidatesServe::permitted(const IpGenAddr& bsr, const IpGenAddr& rp) const {
  for (RouterId id = 0; id < world().topology().routers().size(); ++id) {
    const Speaker& speaker = world().speaker(id, bsr.af());
    if (!world().up(id) || !speaker.owns(bsr)) continue;
    return speaker.duties().permits(rp);
  }
  return false;
}

// A message names no more of a range; others as good may stand before this one.
bool CandidatesServe::full(const Pim::RpCandidateSet& set, std::uint16_t priority) {
  constexpr std::size_t most = 255;
  const auto& rps = set.rp();
  return rps.size() >= most && std::all_of(rps.begin(), rps.end(), [&](const auto& entry) {
           return entry.second->priority().value() <= priority;
         });
}

}  // namespace

void addQuietRules(World& world, const Beliefs& beliefs, std::vector<Violation>& violations,
                   Invariants& rules) {
  rules.push_back(std::make_unique<OneBsr>(world, beliefs, violations));
  rules.push_back(std::make_unique<OneRpSet>(world, beliefs, violations));
  rules.push_back(std::make_unique<SameRp>(world, beliefs, violations));
  rules.push_back(std::make_unique<CandidatesServe>(world, beliefs, violations));
}

}  // namespace Routing::Sim
