#include "bsr/config/RpCandidateEntries.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace Routing::Pim::Bsr {

const RpCandidateEntries::Sources& RpCandidateEntries::sources(const IpGenAddr& address) const {
  static const Sources none;
  const auto it = sources_.find(address);
  return it == sources_.end() ? none : it->second;
}

const RpCandidateEntries::Sources::value_type* RpCandidateEntries::first(
    const IpGenAddr& address) const {
  const Sources& from = sources(address);
  return from.empty() || !status_->crp(address) ? nullptr : &*from.begin();
}

bool RpCandidateEntries::postponed(const IpGenAddr& address) {
  if (held_ > 0) postponed_.insert(address);
  return held_ > 0;
}

void RpCandidateEntries::release() {
  if (--held_ > 0) return;
  for (const IpGenAddr& address : std::exchange(postponed_, {})) sync(address);
}

void RpCandidateEntries::attach(const IpGenAddr& address, const IntfId& intf,
                                const RpCandidateSource& source) {
  sources_[address][intf] = &source;
  if (!postponed(address)) sync(address);
}

bool RpCandidateEntries::detach(const IpGenAddr& address, const IntfId& intf) {
  const auto it = sources_.find(address);
  if (it == sources_.end()) return false;
  const bool existed = status_->crp(address) != nullptr;
  it->second.erase(intf);
  if (it->second.empty()) {
    sources_.erase(it);
    status_->crpDel(address);
  } else {
    sync(address);
  }
  return existed && !status_->crp(address);
}

void RpCandidateEntries::sync(const IpGenAddr& address) {
  for (const auto& [intf, source] : sources(address)) {
    for (const IpGenPrefix& prefix : source->prefixes()) {
      source->traceWritten(prefix, prefixIs(address, prefix));
    }
  }
  settingsIs(address);
  prune(address);
}

RpCandidateEntries::Change RpCandidateEntries::prefixIs(const IpGenAddr& address,
                                                        const IpGenPrefix& prefix) {
  Change change;
  if (postponed(address)) return change;
  const Sources& from = sources(address);
  const bool served = std::any_of(
      from.begin(), from.end(), [&](const auto& source) { return source.second->serves(prefix); });
  change.created = served && !status_->crp(address);
  if (served) status_->newCrp(address);
  const auto entry = status_->crp(address);
  if (!entry) return change;
  if (change.created) settingsIs(address);
  change.added = served && !entry->prefixSet(prefix);
  change.removed = !served && entry->prefixSet(prefix);
  if (served) entry->prefixSetIs(prefix, true);
  priorityIs(*entry, from, prefix);
  if (!served) entry->prefixSetDel(prefix);
  change.deleted = change.removed && entry->prefixSet().empty();
  if (change.deleted) status_->crpDel(address);
  return change;
}

void RpCandidateEntries::priorityIs(RpCandidate& entry, const Sources& sources,
                                    const IpGenPrefix& prefix) const {
  for (const auto& [intf, source] : sources) {
    const auto priority = source->priorityOf(prefix);
    if (!priority) continue;
    entry.newPrefixOptions(prefix)->priorityIs(*priority);
    return;
  }
  entry.prefixOptionsDel(prefix);
}

void RpCandidateEntries::settingsIs(const IpGenAddr& address) {
  const auto* source = first(address);
  if (source == nullptr) return;
  status_->crp(address)->intfIdIs(source->first);
  intervalIs(address);
  modeIs(address);
}

void RpCandidateEntries::intervalIs(const IpGenAddr& address) {
  const auto* source = first(address);
  if (source != nullptr && held_ == 0)
    status_->crp(address)->intervalIs(source->second->interval());
}

void RpCandidateEntries::modeIs(const IpGenAddr& address) {
  const auto* source = first(address);
  if (source != nullptr && held_ == 0) status_->crp(address)->modeIs(source->second->mode());
}

// Takes away what no source serves, such as what an earlier run left.
void RpCandidateEntries::prune(const IpGenAddr& address) {
  const auto entry = status_->crp(address);
  if (!entry) return;
  std::set<IpGenPrefix> present = entry->prefixSet();
  for (const auto& option : entry->prefixOptions()) present.insert(option.first);
  for (const IpGenPrefix& prefix : present) prefixIs(address, prefix);
  if (entry->prefixSet().empty()) status_->crpDel(address);
}

void RpCandidateEntries::deleteStrays(const IntfId* intf) {
  std::vector<IpGenAddr> strays;
  for (const auto& [address, entry] : status_->crp()) {
    if (sources_.contains(address) || (intf != nullptr && entry->intfId() != *intf)) continue;
    strays.push_back(address);
  }
  for (const IpGenAddr& address : strays) status_->crpDel(address);
}

}  // namespace Routing::Pim::Bsr
