#include "agent/feed/MappingFollower.h"

#include <utility>
#include <vector>

#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Agent {
namespace {

using Pim::RpCandidateSet;
using Pim::RpEntry;

bool onlyTimes(std::size_t attribute) {
  using Attr = RpEntry::Attr;
  return attribute == Attr::holdTime || attribute == Attr::setupTime ||
         attribute == Attr::expiryTime;
}

}  // namespace

MappingFollower::MappingFollower(const InstanceView& view)
    : rps_(view.rpCandidate), status_(view.status) {
  for (const auto& [range, set] : rps_->crpSet()) touched_.insert(range);
  changes_ = rps_->treeReactor([this](const TreeChange& change) { note(change); });
}

// The tree has three levels: the status, its sets by range, their RPs.
void MappingFollower::note(const TreeChange& change) {
  const Entity& entity = change.entity;
  if (&entity == rps_.get()) {
    if (change.key != nullptr) touched_.insert(*static_cast<const IpGenPrefix*>(change.key));
  } else if (entity.parent() == rps_.get()) {
    touched_.insert(static_cast<const RpCandidateSet&>(entity).prefix());
  } else if (entity.parent() != nullptr && !onlyTimes(change.attribute)) {
    touched_.insert(static_cast<const RpCandidateSet&>(*entity.parent()).prefix());
  }
}

void MappingFollower::settle(const Tell& tell) {
  for (const IpGenPrefix& range : std::exchange(touched_, {})) settleRange(range, tell);
}

void MappingFollower::settleRange(const IpGenPrefix& range, const Tell& tell) {
  const auto set = rps_->crpSet(range);
  const auto holds = [&set](const IpGenAddr& rp) {
    return set && set->rp(rp) && set->rp(rp)->expiryTime() != 0.0;
  };
  auto entry = told_.lower_bound({range, IpGenAddr()});
  while (entry != told_.end() && entry->first.first == range) {
    const auto current = entry++;
    if (!holds(current->first.second)) remove(current, tell);
  }
  if (!set) return;
  for (const auto& [address, rp] : set->rp()) {
    if (holds(address)) settleRp(range, *rp, tell);
  }
}

void MappingFollower::settleRp(const IpGenPrefix& range, const RpEntry& rp, const Tell& tell) {
  const FollowedMapping now{Pim::rpMapping(range, rp), zoneOf(range, rp.address())};
  const auto [entry, added] = told_.try_emplace({range, rp.address()}, now);
  if (!added) {
    if (entry->second == now) return;
    digest_ -= Pim::rpMappingDigest(entry->second.mapping);
    entry->second = now;
  }
  digest_ += Pim::rpMappingDigest(now.mapping);
  tellChange(tell, added ? "add" : "update", entry->second);
}

// The mappings come from the most specific zone that knows them.
IpGenPrefix MappingFollower::zoneOf(const IpGenPrefix& range, const IpGenAddr& rp) const {
  IpGenPrefix found = IpGenPrefix::multicast(range.af());
  for (const auto& [zone, entry] : status_->crpStatus()) {
    if (!zone.contains(range) || !found.contains(zone) || !entry->status()) continue;
    const auto set = entry->status()->crpSet(range);
    if (set && set->rp(rp)) found = zone;
  }
  return found;
}

void MappingFollower::remove(Told::iterator entry, const Tell& tell) {
  const FollowedMapping gone = entry->second;
  told_.erase(entry);
  digest_ -= Pim::rpMappingDigest(gone.mapping);
  tellChange(tell, "remove", gone);
}

void MappingFollower::end(const Tell& tell) {
  changes_.reset();
  while (!told_.empty()) remove(told_.begin(), tell);
}

void MappingFollower::tellChange(const Tell& tell, std::string_view operation,
                                 const FollowedMapping& mapping) {
  tell({operation, mapping, ++generation_, digest_});
}

}  // namespace Routing::Agent
