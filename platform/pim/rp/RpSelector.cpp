#include "platform/pim/rp/RpSelector.h"

#include <utility>

#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Pim {

RpChoice selectRp(const IpGenAddr& group, const MappingsOf& mappingsOf) {
  for (unsigned length = addressBits(group.af()) + 1; length-- > 0;) {
    RpChoice choice = selectRp(group, mappingsOf(IpGenPrefix(group, length)));
    if (choice.decidedBy != RpRule::notCovered) return choice;
  }
  return selectRp(group, std::vector<RpMapping>());
}

RpChoice selectRp(const IpGenAddr& group, const RpCandidateStatus& status) {
  return selectRp(group, [&status](const IpGenPrefix& range) {
    std::vector<RpMapping> mappings;
    const auto& set = status.crpSet(range);
    if (!set) return mappings;
    for (const auto& entry : set->rp()) mappings.push_back(rpMapping(range, *entry.second));
    return mappings;
  });
}

RpSelector::RpSelector(std::shared_ptr<const RpCandidateStatus> status, TimerWheel& wheel)
    : status_(std::move(status)), settled_(wheel, [this] { settle(); }) {
  changes_ = status_->treeReactor([this](const TreeChange& change) { note(change); });
}

std::optional<RpMapping> RpSelector::selectRp(const IpGenAddr& group) const {
  return Pim::selectRp(group, *status_).rp;
}

std::optional<RpMapping> RpSelector::watch(const IpGenAddr& group, Changed changed) {
  const auto rp = selectRp(group);
  watched_.insert_or_assign(group, Watched{rp, std::move(changed)});
  return rp;
}

// The tree has three levels: the status, its sets by range, their RPs.
void RpSelector::note(const TreeChange& change) {
  if (watched_.empty()) return;
  const Entity* at = &change.entity;
  if (at == status_.get()) {
    if (change.key == nullptr) return;
    touched_.insert(*static_cast<const IpGenPrefix*>(change.key));
  } else {
    if (at->parent() != status_.get()) at = at->parent();
    if (at == nullptr) return;
    touched_.insert(static_cast<const RpCandidateSet*>(at)->prefix());
  }
  if (!settled_.armed()) settled_.expiryInIs(0);
}

void RpSelector::settle() {
  std::set<IpGenAddr> groups;
  for (const IpGenPrefix& range : std::exchange(touched_, {})) {
    for (auto at = watched_.lower_bound(range.address());
         at != watched_.end() && range.contains(at->first); ++at) {
      groups.insert(at->first);
    }
  }
  for (const IpGenAddr& group : groups) {
    const auto at = watched_.find(group);
    if (at == watched_.end()) continue;
    auto rp = selectRp(group);
    if (rp == at->second.rp) continue;
    at->second.rp = rp;
    const Changed changed = at->second.changed;  // which may end its own watch
    changed(group, rp);
  }
}

}  // namespace Routing::Pim
