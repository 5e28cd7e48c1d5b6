#include "agent/events/InstanceWatch.h"

#include <algorithm>
#include <array>
#include <utility>

#include "bsr/types/PimBsr.h"
#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Agent {
namespace {

using Pim::Bsr::PimBsrLimits;
using Pim::Bsr::PimBsrWeight;

constexpr double rpSetSettles = 1.0;        // seconds from a change of the RP set to its event
constexpr double refusalsPause = 60.0;      // seconds without a refusal, after which one is news
constexpr std::size_t maxAdvertisers = 64;  // that are remembered; more are not told of

struct LimitName {
  const char* name;
  const std::uint32_t& (PimBsrLimits::*refused)() const;
};
constexpr std::array limitNames{
    LimitName{"zones", &PimBsrLimits::refusedZones},
    LimitName{"group ranges", &PimBsrLimits::refusedGroups},
    LimitName{"RPs", &PimBsrLimits::refusedRps},
    LimitName{"RPs of one range", &PimBsrLimits::refusedRpsOfRange},
    LimitName{"incomplete group ranges", &PimBsrLimits::refusedFragments},
    LimitName{"ranges and RPs of kept messages", &PimBsrLimits::refusedKept},
};

/// Instants move whenever somebody is heard of; that is no news.
bool isInstant(std::string_view attribute) {
  return attribute == "expiryTime" || attribute == "expires" || attribute == "upTime";
}

/// Calls handle(key, before, now) for each key of either map, with null where it has none.
template <class Map, class Handle>
void compare(const Map& before, const Map& now, Handle handle) {
  for (const auto& [key, value] : before) {
    const auto found = now.find(key);
    handle(key, &value, found == now.end() ? nullptr : &found->second);
  }
  for (const auto& [key, value] : now) {
    if (!before.contains(key)) handle(key, static_cast<decltype(&value)>(nullptr), &value);
  }
}

PimBsrWeight weightOf(std::uint16_t priority, const IpGenAddr& address) {
  return {static_cast<std::uint8_t>(priority), address};
}

}  // namespace

InstanceWatch::InstanceWatch(WatchedInstance watched, TimerWheel& wheel, bool resumed,
                             EventSink sink)
    : watched_(std::move(watched)),
      wheel_(wheel),
      sink_(std::move(sink)),
      resumed_(resumed),
      refusals_(limitNames.size()),
      rpSetTimer_(wheel, [this] { rpSetDue_ = true; }) {
  const auto follow = [this](const Entity& root) {
    subscriptions_.push_back(
        root.treeReactor([this](const TreeChange& change) { handleChange(change); }));
  };
  follow(*watched_.pimStatus);
  follow(*watched_.status);
  follow(*watched_.limits);
  subscriptions_.push_back(watched_.rpCandidate->treeReactor([this](const TreeChange& change) {
    if (!isInstant(change.entity.attributeName(change.attribute))) handleRpSet();
  }));
  subscriptions_.push_back(
      watched_.crpMessages->rxCrpMsgReactor([this] { handleAdvertisement(); }));
  handleRpSet();
  tell({.kind = EventKind::started, .cause = resumed ? EventCause::resumed : EventCause::cold});
}

void InstanceWatch::handleChange(const TreeChange& change) {
  changed_ = changed_ || !isInstant(change.entity.attributeName(change.attribute));
}

void InstanceWatch::handleRpSet() {
  if (!rpSetTimer_.armed() && !rpSetDue_) rpSetTimer_.expiryInIs(rpSetSettles);
}

void InstanceWatch::handleAdvertisement() {
  const auto message = watched_.crpMessages->rxCrpMsg();
  if (!message || message->source() == message->rpAddress()) return;
  if (knownAdvertisers_.size() >= maxAdvertisers) return;
  const Advertiser advertiser{message->rpAddress(), message->source()};
  if (knownAdvertisers_.insert(advertiser).second) newAdvertisers_.push_back(advertiser);
}

void InstanceWatch::settle() {
  if (std::exchange(changed_, false)) {
    settleCandidates();
    settleZones();
    settleBsrs();
    settleNeighbors();
    settleLimits();
    resumed_ = false;
  }
  if (std::exchange(rpSetDue_, false)) settleRpSet();
  settleAdvertisers();
  clearing_ = false;
}

// --- zones and their BSRs ---------------------------------------------------------------------

void InstanceWatch::settleZones() {
  std::set<IpGenPrefix> now = watched_.zones();
  now.erase(IpGenPrefix::multicast(watched_.status->af()));  // it is always there
  for (const IpGenPrefix& zone : now) {
    if (!zones_.contains(zone)) tell({.kind = EventKind::zoneAppeared, .zone = zone});
  }
  for (const IpGenPrefix& zone : zones_) {
    if (!now.contains(zone)) tell({.kind = EventKind::zoneVanished, .zone = zone});
  }
  zones_ = std::move(now);
}

InstanceWatch::Bsrs InstanceWatch::bsrs() const {
  Bsrs bsrs;
  for (const auto& [zone, record] : watched_.status->bootstrapRouter()) {
    if (record->ipAddr().isUnset()) continue;
    const auto& candidate = watched_.status->cbsr(zone);
    bsrs[zone] = {record, record->ipAddr(), record->priority(), candidate && candidate->elected()};
  }
  return bsrs;
}

void InstanceWatch::settleBsrs() {
  Bsrs now = bsrs();
  compare(bsrs_, now, [this](const IpGenPrefix& zone, const Bsr* was, const Bsr* is) {
    settleBsr(zone, was, is);
  });
  bsrs_ = std::move(now);
}

void InstanceWatch::settleBsr(const IpGenPrefix& zone, const Bsr* before, const Bsr* now) {
  Event event{.kind = EventKind::bsrChanged, .zone = zone};
  const Bsr& subject = now == nullptr ? *before : *now;
  event.bsr = subject.address;
  event.priority = subject.priority;
  if (now == nullptr) {
    event.kind = EventKind::bsrGone;
    event.cause = goneCause(*before);
  } else if (before == nullptr) {
    event.kind = now->local ? EventKind::electionWon : EventKind::bsrNew;
    event.cause = resumed_     ? EventCause::resumed
                  : now->local ? EventCause::backOffEnded
                               : EventCause::firstHeard;
  } else if (before->address != now->address || before->local != now->local) {
    event.kind = now->local      ? EventKind::electionWon
                 : before->local ? EventKind::electionLost
                                 : EventKind::bsrChanged;
    event.bsrBefore = before->address;
    event.cause = successionCause(*before, *now);
  } else if (before->priority != now->priority) {
    event.cause = now->priority == 0 ? EventCause::resigned : EventCause::priorityChanged;
  } else {
    return;
  }
  tell(event);
}

EventCause InstanceWatch::successionCause(const Bsr& before, const Bsr& now) const {
  if (before.local && !watched_.status->cbsr(before.record->zone())) return EventCause::withdrawn;
  const PimBsrWeight was = weightOf(before.priority, before.address);
  if (was < weightOf(now.priority, now.address)) {
    return before.priority == 0 ? EventCause::resigned : EventCause::better;
  }
  return EventCause::silent;
}

EventCause InstanceWatch::goneCause(const Bsr& before) const {
  if (clearing_) return EventCause::cleared;
  if (before.local) return EventCause::withdrawn;
  return before.record->expiryTime() <= wheel_.now() ? EventCause::silent : EventCause::withdrawn;
}

// --- candidates -------------------------------------------------------------------------------

InstanceWatch::CandidateBsrs InstanceWatch::candidateBsrs() const {
  CandidateBsrs candidates;
  for (const auto& [zone, candidate] : watched_.status->cbsr()) {
    if (candidate->address().isUnset()) continue;
    candidates[zone] = {candidate->address(), candidate->intfId()};
  }
  return candidates;
}

InstanceWatch::CandidateRps InstanceWatch::candidateRps() const {
  CandidateRps candidates;
  for (const auto& [address, candidate] : watched_.status->crp()) {
    candidates[address] = {address, candidate->intfId()};
  }
  return candidates;
}

void InstanceWatch::settleCandidates() {
  CandidateBsrs bsrsNow = candidateBsrs();
  compare(candidateBsrs_, bsrsNow,
          [this](const IpGenPrefix& zone, const Candidate* was, const Candidate* is) {
            if (was != nullptr && is != nullptr && *was == *is) return;
            if (was != nullptr) {
              tell({.kind = EventKind::candidateBsrStopped,
                    .cause = stopCause(was->intf),
                    .zone = zone,
                    .bsr = was->address,
                    .intf = was->intf});
            }
            if (is != nullptr) {
              tell({.kind = EventKind::candidateBsrStarted,
                    .zone = zone,
                    .bsr = is->address,
                    .intf = is->intf});
            }
          });
  candidateBsrs_ = std::move(bsrsNow);
  CandidateRps rpsNow = candidateRps();
  compare(candidateRps_, rpsNow,
          [this](const IpGenAddr& address, const Candidate* was, const Candidate* is) {
            if (was != nullptr && is != nullptr) return;
            const Candidate& candidate = was == nullptr ? *is : *was;
            tell({.kind = was == nullptr ? EventKind::candidateRpStarted
                                         : EventKind::candidateRpStopped,
                  .cause = was == nullptr ? EventCause::none : stopCause(candidate.intf),
                  .intf = candidate.intf,
                  .rp = address});
          });
  candidateRps_ = std::move(rpsNow);
}

EventCause InstanceWatch::stopCause(const IntfId& intf) const {
  return watched_.sourceIntfSm->addressOf(intf).isUnset() ? EventCause::noAddress
                                                          : EventCause::withdrawn;
}

// --- neighbours -------------------------------------------------------------------------------

InstanceWatch::Neighbors InstanceWatch::neighbors() const {
  Neighbors neighbors;
  for (const auto& [id, intf] : watched_.pimStatus->pimIntf()) {
    for (const auto& [address, record] : intf->neighbor()) {
      neighbors[{id, address}] = {record, record->setupTime(), record->generationId()};
    }
  }
  return neighbors;
}

void InstanceWatch::settleNeighbors() {
  Neighbors now = neighbors();
  compare(neighbors_, now, [this](const NeighborKey& key, const Neighbor* was, const Neighbor* is) {
    Event event{.kind = EventKind::neighborUp, .neighbor = key.second, .intf = key.first};
    if (is == nullptr) {
      event.kind = EventKind::neighborDown;
      event.cause = lossCause(key, *was);
    } else if (was != nullptr) {
      if (was->record == is->record && was->setupTime == is->setupTime) return;
      event.kind = EventKind::neighborRestarted;
      event.cause =
          was->generationId == is->generationId ? EventCause::goodbye : EventCause::newGenerationId;
    }
    tell(event);
  });
  neighbors_ = std::move(now);
}

EventCause InstanceWatch::lossCause(const NeighborKey& key, const Neighbor& before) const {
  const auto& intf = watched_.pimStatus->pimIntf(key.first);
  if (!intf || !intf->running()) return EventCause::interfaceDown;
  if (clearing_) return EventCause::cleared;
  return before.record->expiryTime() <= wheel_.now() ? EventCause::expired : EventCause::goodbye;
}

// --- the rest ---------------------------------------------------------------------------------

void InstanceWatch::settleLimits() {
  for (std::size_t i = 0; i < limitNames.size(); ++i) {
    Refusals& refusals = refusals_[i];
    const std::uint32_t count = (*watched_.limits.*limitNames.at(i).refused)();
    if (count > refusals.count) {
      const bool news = wheel_.now() - refusals.last > refusalsPause;
      refusals.last = wheel_.now();
      if (news) tell({.kind = EventKind::limitHit, .limit = limitNames.at(i).name});
    }
    refusals.count = count;
  }
}

void InstanceWatch::settleRpSet() {
  const std::vector<Pim::RpMapping> mappings = Pim::rpMappings(*watched_.rpCandidate);
  const std::uint64_t digest = Pim::rpSetDigest(mappings);
  if (std::exchange(digest_, digest) == digest) return;
  tell({.kind = EventKind::rpSetChanged,
        .digest = digest,
        .ranges = watched_.rpCandidate->crpSet().size(),
        .rps = mappings.size()});
}

void InstanceWatch::settleAdvertisers() {
  for (const auto& [rp, source] : std::exchange(newAdvertisers_, {})) {
    tell({.kind = EventKind::foreignAdvertiser, .neighbor = source, .rp = rp});
  }
}

void InstanceWatch::tell(Event event) {
  event.vrf = watched_.status->vrfName();
  event.af = watched_.status->af();
  event.time = wheel_.now();
  event.wall = std::chrono::system_clock::now();
  book_.add(event);
  if (sink_) sink_(event);
}

}  // namespace Routing::Agent
