#include "sim/continuity/ContinuityMeter.h"

#include <algorithm>
#include <map>

#include "sim/core/Groups.h"

namespace Routing::Sim {
namespace {

constexpr RouterId mostWatched = 64;

bool knowsAnything(const Belief& belief) {
  return belief.viewRps > 0 ||
         std::any_of(belief.zones.begin(), belief.zones.end(),
                     [](const ZoneBelief& about) { return !about.bsr.isUnset(); });
}

}  // namespace

std::string_view nameOf(Lack lack) {
  constexpr std::array<std::string_view, allLacks.size()> names{"RP", "BSR", "agreement", "start"};
  return names[static_cast<std::size_t>(lack)];
}

ContinuityMeter::ContinuityMeter(World& world, Beliefs& beliefs, AddressFamily af)
    : world_(world),
      beliefs_(beliefs),
      supply_(world, af),
      step_(1 + static_cast<RouterId>(world.topology().routers().size()) / mostWatched),
      everything_(IpGenPrefix::multicast(af)) {
  for (RouterId id = 0; id < world.topology().routers().size(); id += step_) {
    watches_.emplace_back().router = id;
    watches_.back().of(Lack::start).resize(1);
  }
  world.observerIs(*this);
  beliefs.listenerIs([this, af](RouterId router, AddressFamily family, const Belief& before) {
    if (family == af) beliefChanged(router, before);
  });
}

// --- what is seen -----------------------------------------------------------------------------

void ContinuityMeter::transmitted(const Packet& packet) {
  if (packet.af != af() || packet.sender % step_ != 0 || !packet.is(Pim::PimType::hello)) return;
  Watch& watch = watches_[packet.sender / step_];
  if (watch.newcomer) lackIs(watch, Lack::start, 0, true);
}

void ContinuityMeter::disturbed(std::string_view) {
  disturbed_ = true;
}

void ContinuityMeter::beliefChanged(RouterId router, const Belief& before) {
  if (router % step_ != 0) return;
  const RouterId number = router / step_;
  const Belief& belief = beliefs_.of(router, af());
  if (anyServed_ || knowsAnything(belief)) changed_.push_back(number);
  if (before.viewDigest == belief.viewDigest) return;
  watches_[number].rp.clear();
  rpsChanged_ = true;
}

// Until somebody knows something, what is done to the network matters to nobody.
void ContinuityMeter::settled(const std::vector<RouterId>&) {
  if (changed_.empty() && !justStarted_ && !(disturbed_ && anyServed_)) return;
  const bool all = disturbed_;
  if (all) refresh();
  for (const RouterId number : changed_) {
    choose(watches_[number]);
    assess(watches_[number]);
  }
  for (std::size_t group = 0; (all || rpsChanged_) && group < supply_.groups().size(); ++group) {
    compare(group);
  }
  justStarted_ = false;
  for (Watch& watch : watches_) welcome(watch);
  changed_.clear();
  rpsChanged_ = false;
}

void ContinuityMeter::refresh() {
  disturbed_ = false;
  supply_.refresh();
  for (Watch& watch : watches_) grow(watch);
  for (Watch& watch : watches_) followLife(watch);
  for (Watch& watch : watches_) {
    choose(watch);
    assess(watch);
  }
}

void ContinuityMeter::grow(Watch& watch) {
  watch.of(Lack::rp).resize(supply_.groups().size());
  watch.of(Lack::agreement).resize(supply_.groups().size());
  watch.of(Lack::bsr).resize(supply_.zones().size());
}

// --- routers come and go ----------------------------------------------------------------------

void ContinuityMeter::followLife(Watch& watch) {
  const Speaker& speaker = world_.speaker(watch.router, af());
  const bool wasUp = watch.up;
  watch.up = speaker.running();
  if (watch.up && speaker.startedAt() != watch.startedAt) {
    if (wasUp) watch.diedAt = world_.now();
    watch.startedAt = speaker.startedAt();
    started(watch);
  } else if (wasUp && !watch.up) {
    watch.diedAt = world_.now();
    watch.newcomer = false;
    lackIs(watch, Lack::start, 0, false);
  }
}

void ContinuityMeter::started(Watch& watch) {
  if (world_.keptStatus(watch.router) && world_.now() - watch.diedAt <= keeps) return;
  forget(watch);
  for (std::size_t group = 0; group < supply_.groups().size() && !watch.newcomer; ++group) {
    watch.newcomer = supply_.rpDue(watch.router, group) && !rpsOfOthers(watch, group).empty();
  }
}

void ContinuityMeter::forget(Watch& watch) {
  watch.newcomer = false;
  for (const Lack lack : allLacks) {
    for (std::size_t number = 0; number < watch.of(lack).size(); ++number) {
      lackIs(watch, lack, number, false);
      watch.of(lack)[number].counts = false;
    }
  }
}

void ContinuityMeter::welcome(Watch& watch) {
  if (!watch.newcomer) return;
  if (world_.instant() == watch.startedAt) {  // maybe with what expired long ago
    justStarted_ = true;
    return;
  }
  for (std::size_t zone = 0; zone < supply_.zones().size(); ++zone) {
    if (supply_.bsrDue(watch.router, zone) && !knowsBsr(watch, zone) && !waits(watch, zone)) return;
  }
  for (std::size_t group = 0; group < supply_.groups().size(); ++group) {
    const auto others = supply_.rpDue(watch.router, group) ? rpsOfOthers(watch, group) : Rps{};
    if (!others.empty() && !others.contains(watch.rp[group])) return;
  }
  watch.newcomer = false;
  watch.measured[static_cast<std::size_t>(Lack::start)] = true;
  lackIs(watch, Lack::start, 0, false);
  assess(watch);
}

// --- what they have ---------------------------------------------------------------------------

void ContinuityMeter::choose(Watch& watch) {
  const Speaker& speaker = world_.speaker(watch.router, af());
  for (std::size_t group = watch.rp.size(); group < supply_.groups().size(); ++group) {
    watch.rp.push_back(watch.up ? rpOf(speaker, supply_.groups()[group].address) : IpGenAddr{});
  }
}

void ContinuityMeter::assess(Watch& watch) {
  for (std::size_t group = 0; group < supply_.groups().size(); ++group) {
    const bool due = watch.up && supply_.rpDue(watch.router, group);
    itemIs(watch, Lack::rp, group, due, watch.hasRp(group));
  }
  for (std::size_t zone = 0; zone < supply_.zones().size(); ++zone) {
    const bool due = watch.up && supply_.bsrDue(watch.router, zone);
    itemIs(watch, Lack::bsr, zone, due, knowsBsr(watch, zone));
  }
}

bool ContinuityMeter::knowsBsr(const Watch& watch, std::size_t zone) const {
  const ZoneBelief* belief = beliefs_.of(watch.router, af()).zone(supply_.zones()[zone]);
  return belief != nullptr && !belief->bsr.isUnset();
}

/// Whether it is a candidate that waits to be elected: until then it knows of no BSR.
bool ContinuityMeter::waits(const Watch& watch, std::size_t zone) const {
  const ZoneBelief* belief = beliefs_.of(watch.router, af()).zone(supply_.zones()[zone]);
  return belief != nullptr && belief->state == Pim::Bsr::BsrCandidateState::pBsr;
}

void ContinuityMeter::itemIs(Watch& watch, Lack lack, std::size_t number, bool due, bool has) {
  Item& item = watch.of(lack)[number];
  if (!due) {
    if (!item.undueSince) item.undueSince = world_.now();
    return lackIs(watch, lack, number, false);
  }
  if (item.undueSince && world_.now() - *item.undueSince > keeps) item.counts = false;
  item.undueSince.reset();
  item.counts |= has && !watch.newcomer;
  watch.measured[static_cast<std::size_t>(lack)] |= item.counts;
  anyServed_ |= item.counts;
  lackIs(watch, lack, number, item.counts && !has);
}

void ContinuityMeter::lackIs(Watch& watch, Lack lack, std::size_t number, bool lacks) {
  Item& item = watch.of(lack)[number];
  if (lacks == item.since.has_value()) return;
  std::size_t& open = open_[static_cast<std::size_t>(lack)];
  if (lacks) {
    ++open;
    item.since = world_.now();
    return;
  }
  --open;
  const Gap gap{lack, watch.router, about(lack, number), *item.since, world_.now()};
  if (gap.length() > 0) gaps_.push_back(gap);
  item.since.reset();
}

bool ContinuityMeter::settledOn(const Watch& watch, std::size_t group) const {
  const Item& item = watch.of(Lack::rp)[group];
  return watch.hasRp(group) && !watch.newcomer && item.counts && !item.undueSince;
}

ContinuityMeter::Rps ContinuityMeter::rpsOfOthers(const Watch& watch, std::size_t group) const {
  const std::uint32_t place = supply_.place(watch.router, group);
  Rps rps;
  for (const Watch& other : watches_) {
    if (&other == &watch || supply_.place(other.router, group) != place) continue;
    if (settledOn(other, group)) rps.insert(other.rp[group]);
  }
  return rps;
}

void ContinuityMeter::compare(std::size_t group) {
  const auto mixed = mixedPlaces(group);
  for (Watch& watch : watches_) {
    const bool settled = settledOn(watch, group);
    watch.measured[static_cast<std::size_t>(Lack::agreement)] |= settled;
    lackIs(watch, Lack::agreement, group,
           settled && mixed.contains(supply_.place(watch.router, group)));
  }
}

/// The places whose routers do not all choose the same RP.
std::set<std::uint32_t> ContinuityMeter::mixedPlaces(std::size_t group) const {
  std::map<std::uint32_t, IpGenAddr> first;
  std::set<std::uint32_t> mixed;
  for (const Watch& watch : watches_) {
    if (!settledOn(watch, group)) continue;
    const std::uint32_t place = supply_.place(watch.router, group);
    if (first.try_emplace(place, watch.rp[group]).first->second != watch.rp[group]) {
      mixed.insert(place);
    }
  }
  return mixed;
}

// --- what came of it --------------------------------------------------------------------------

const IpGenPrefix& ContinuityMeter::about(Lack lack, std::size_t number) const {
  if (lack == Lack::start) return everything_;
  return lack == Lack::bsr ? supply_.zones()[number] : supply_.groups()[number].range;
}

std::vector<Gap> ContinuityMeter::open(Lack lack) const {
  std::vector<Gap> open;
  for (const Watch& watch : watches_) {
    for (std::size_t number = 0; number < watch.of(lack).size(); ++number) {
      const Item& item = watch.of(lack)[number];
      if (!item.since) continue;
      open.push_back({lack, watch.router, about(lack, number), *item.since, world_.now()});
    }
  }
  return open;
}

std::optional<double> ContinuityMeter::longest(Lack lack, RouterId router) const {
  if (router % step_ != 0) return std::nullopt;
  bool measured = watches_[router / step_].measured[static_cast<std::size_t>(lack)];
  double longest = 0.0;
  const auto take = [&](const Gap& gap) {
    if (gap.lack != lack || gap.router != router) return;
    longest = std::max(longest, gap.length());
    measured = true;
  };
  std::for_each(gaps_.begin(), gaps_.end(), take);
  const auto lasting = open(lack);
  std::for_each(lasting.begin(), lasting.end(), take);
  return measured ? std::optional(longest) : std::nullopt;
}

}  // namespace Routing::Sim
