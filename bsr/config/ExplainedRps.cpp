#include "bsr/config/ExplainedRps.h"

#include <algorithm>

namespace Routing::Pim::Bsr {

ExplainedRps::ExplainedRps(const ConfigContext& context)
    : context_(context),
      counts_(context, {&ConfigState::crpPfxRefCount, &ConfigState::newCrpPfxRefCount,
                        &ConfigState::crpPfxRefCountDel, "C-RP "}) {}

// --- what is claimed --------------------------------------------------------------------------

void ExplainedRps::interfaceIs(const IntfId& intf, const IpGenAddr& address, const RpTerms& terms) {
  const auto known = address_.find(intf);
  const bool stays = known != address_.end() && known->second == address &&
                     interfaces_.of(address).at(intf).awaited == terms.awaited;
  if (!stays) {
    leave(intf);
    touch(intf);
  }
  address_[intf] = address;
  if (interfaces_.claim(address, intf, terms)) {
    note(address, stays ? Change::terms : Change::interfaces);
  }
}

void ExplainedRps::interfaceDel(const IntfId& intf) {
  leave(intf);
  for (const IpGenPrefix& prefix : prefixesOf(intf)) {
    const auto sources = ranges_.of({intf, prefix});
    for (const auto& [list, priority] : sources) withdraw(intf, prefix, list);
  }
}

// What was kept for an interface whose address had not come yet is looked at anew.
void ExplainedRps::leave(const IntfId& intf) {
  const auto known = address_.find(intf);
  if (known == address_.end()) return;
  if (awaited(intf)) {
    for (const auto& [address, entry] : context_.status->crp()) {
      if (entry->intfId() == intf) note(address, Change::interfaces);
    }
  }
  note(known->second, Change::interfaces);
  interfaces_.withdraw(known->second, intf);
  if (!known->second.isUnset()) {
    for (const auto& [other, terms] : interfaces_.of(known->second)) touch(other);
  }
  address_.erase(known);
}

/// All that the interface claims is looked at anew.
void ExplainedRps::touch(const IntfId& intf) {
  for (const IpGenPrefix& prefix : prefixesOf(intf)) {
    changedRanges_.try_emplace({intf, prefix}, Cause::list);
  }
}

void ExplainedRps::note(const IpGenAddr& address, Change change) {
  if (address.isUnset()) return;
  Change& noted = changed_.try_emplace(address, change).first->second;
  noted = std::max(noted, change);
}

void ExplainedRps::claim(const IntfId& intf, const IpGenPrefix& prefix, const std::string& list,
                         const Priority& priority) {
  if (!ranges_.claim({intf, prefix}, list, priority)) return;
  changedRanges_[{intf, prefix}] = list.empty() ? Cause::range : Cause::list;
}

void ExplainedRps::withdraw(const IntfId& intf, const IpGenPrefix& prefix,
                            const std::string& list) {
  if (!ranges_.withdraw({intf, prefix}, list)) return;
  changedRanges_[{intf, prefix}] = list.empty() ? Cause::range : Cause::list;
}

// --- what that explains -----------------------------------------------------------------------

IpGenAddr ExplainedRps::addressOf(const IntfId& intf) const {
  const auto found = address_.find(intf);
  return found == address_.end() ? IpGenAddr{} : found->second;
}

std::set<IpGenPrefix> ExplainedRps::prefixesOf(const IntfId& intf) const {
  std::set<IpGenPrefix> prefixes;
  const auto& all = ranges_.all();
  for (auto it = all.lower_bound({intf, {}}); it != all.end() && it->first.first == intf; ++it) {
    prefixes.insert(prefixes.end(), it->first.second);
  }
  return prefixes;
}

bool ExplainedRps::claimsSome(const IntfId& intf) const {
  const auto first = ranges_.all().lower_bound({intf, {}});
  return first != ranges_.all().end() && first->first.first == intf;
}

bool ExplainedRps::served(const IpGenAddr& address, const IpGenPrefix& prefix) const {
  const auto& interfaces = interfaces_.of(address);
  return std::any_of(interfaces.begin(), interfaces.end(), [&](const auto& interface) {
    return ranges_.contains({interface.first, prefix});
  });
}

ExplainedRps::Priority ExplainedRps::priorityOf(const IntfId& intf,
                                                const IpGenPrefix& prefix) const {
  const auto& sources = ranges_.of({intf, prefix});
  const auto last = std::find_if(sources.rbegin(), sources.rend(),
                                 [](const auto& source) { return source.second.has_value(); });
  return last == sources.rend() ? std::nullopt : last->second;
}

ExplainedRps::Priority ExplainedRps::priorityAt(const IpGenAddr& address,
                                                const IpGenPrefix& prefix) const {
  for (const auto& [intf, terms] : interfaces_.of(address)) {
    if (const auto priority = priorityOf(intf, prefix)) return priority;
  }
  return std::nullopt;
}

bool ExplainedRps::awaited(const IntfId& intf) const {
  const auto& without = interfaces_.of({});
  const auto found = without.find(intf);
  return found != without.end() && found->second.awaited && claimsSome(intf);
}

bool ExplainedRps::explains(const RpCandidate& entry) const {
  const auto& interfaces = interfaces_.of(entry.address());
  return awaited(entry.intfId()) ||
         std::any_of(interfaces.begin(), interfaces.end(),
                     [this](const auto& interface) { return claimsSome(interface.first); });
}

// --- what the status shows of it --------------------------------------------------------------

void ExplainedRps::settle() {
  const auto ranges = std::exchange(changedRanges_, {});
  const auto addresses = std::exchange(changed_, {});
  for (const auto& [range, cause] : ranges) addRange(range);
  for (const auto& [address, change] : addresses) termsAre(address, false);
  for (const auto& [range, cause] : ranges) removeRange(range, cause);
  for (const auto& [address, change] : addresses) {
    if (change == Change::interfaces) removeRest(address);
  }
}

void ExplainedRps::addRange(const Range& range) {
  const auto& [intf, prefix] = range;
  const std::size_t count = ranges_.of(range).size();
  const IpGenAddr address = addressOf(intf);
  if (count > 0) counts_.open(intf);
  if (!address.isUnset() && served(address, prefix)) prefixIs(address, prefix);
  if (count > 0) counts_.countIs(intf, prefix, count);
}

void ExplainedRps::removeRange(const Range& range, Cause cause) {
  const auto& [intf, prefix] = range;
  const IpGenAddr address = addressOf(intf);
  if (!ranges_.contains(range)) counts_.countIs(intf, prefix, 0);
  if (!address.isUnset() && !served(address, prefix)) prefixDel(address, prefix, cause);
}

void ExplainedRps::removeRest(const IpGenAddr& address) {
  const auto entry = context_.status->crp(address);
  if (!entry) return;
  if (!explains(*entry)) return entryDel(address, "");
  if (interfaces_.of(address).empty()) return;  // kept as it is
  std::set<IpGenPrefix> present = entry->prefixSet();
  for (const auto& option : entry->prefixOptions()) present.insert(option.first);
  for (const IpGenPrefix& prefix : present) {
    if (!served(address, prefix)) prefixDel(address, prefix, Cause::list);
  }
}

void ExplainedRps::prefixIs(const IpGenAddr& address, const IpGenPrefix& prefix) {
  const bool isNew = !context_.status->crp(address);
  const auto entry = context_.status->newCrp(address);
  if (isNew) termsAre(address, true);
  const bool added = !entry->prefixSet(prefix);
  entry->prefixSetIs(prefix, true);
  if (added) traceAdded(address, prefix, isNew);
  priorityIs(*entry, prefix);
}

void ExplainedRps::prefixDel(const IpGenAddr& address, const IpGenPrefix& prefix, Cause cause) {
  const auto entry = context_.status->crp(address);
  if (!entry) return;
  entry->prefixOptionsDel(prefix);
  if (entry->prefixSet(prefix)) {
    entry->prefixSetDel(prefix);
    if (cause == Cause::range) {
      BSR_TRACE(sm, 8, "Deleted prefix ", prefix, " from prefixSet");
    } else {
      BSR_TRACE(sm, 8, "Deleted prefix ", prefix, " from C-RP ", address);
    }
  }
  if (entry->prefixSet().empty()) entryDel(address, " since it doest serve any group");
}

void ExplainedRps::priorityIs(RpCandidate& entry, const IpGenPrefix& prefix) {
  const Priority wanted = priorityAt(entry.address(), prefix);
  const auto options = entry.prefixOptions(prefix);
  if (!wanted) {
    if (!options) return;
    entry.prefixOptionsDel(prefix);
    BSR_TRACE(sm, 8, "Deleted priority of prefix ", prefix, " from prefixOptions");
  } else if (!options || options->priority() != *wanted) {
    entry.newPrefixOptions(prefix)->priorityIs(*wanted);
    BSR_TRACE(sm, 8, "Created priority ", *wanted, " to prefix ", prefix, " to C-RP ",
              entry.address());
  }
}

// The interval is written when the configured one differs from the last: others may have stretched
// it meanwhile.
void ExplainedRps::termsAre(const IpGenAddr& address, bool isNew) {
  const auto entry = context_.status->crp(address);
  const auto& interfaces = interfaces_.of(address);
  if (!entry || interfaces.empty()) return;
  const auto [intf, terms] = *interfaces.begin();
  entry->intfIdIs(intf);
  const auto known = interval_.find(address);
  const bool written = known != interval_.end() && known->second == terms.interval;
  interval_[address] = terms.interval;
  if (!written && entry->interval() != terms.interval) {
    entry->intervalIs(terms.interval);
    if (!isNew) {
      BSR_TRACE(sm, 4, "Advertisement interface for Candidate C-RP ", address, " changed to ",
                terms.interval);
    }
  }
  if (entry->mode() == terms.mode) return;
  entry->modeIs(terms.mode);
  if (isNew) return;
  BSR_TRACE(sm, 4, "Pim mode for Candidate C-RP ", address, " changed to ", enumName(terms.mode));
}

void ExplainedRps::entryDel(const IpGenAddr& address, const char* because) {
  context_.status->crpDel(address);
  interval_.erase(address);
  BSR_TRACE(sm, 4, "Deleted candidate RP ", address, because);
}

void ExplainedRps::traceAdded(const IpGenAddr& address, const IpGenPrefix& prefix,
                              bool isNew) const {
  const auto& interfaces = interfaces_.of(address);
  const auto giver = std::find_if(interfaces.begin(), interfaces.end(), [&](const auto& each) {
    return ranges_.contains({each.first, prefix});
  });
  if (giver == interfaces.end()) return;
  const std::string& list = ranges_.of({giver->first, prefix}).begin()->first;
  if (list.empty()) {
    if (isNew) BSR_TRACE(sm, 4, "Created C-RP ", address);
    BSR_TRACE(sm, 8, "Added Prefix ", prefix, " to C-RP ", address);
  } else {
    if (isNew) {
      BSR_TRACE(sm, 4, "Created C-RP with IP ", address, " advInterval=", giver->second.interval);
    }
    BSR_TRACE(sm, 8, "Address prefix ", prefix, " as part of Acl", list, " to C-RP ", address);
  }
}

void ExplainedRps::removeExtra() const {
  const auto entries = context_.status->crp().copy();
  for (const auto& [address, entry] : entries) {
    if (explains(*entry)) continue;
    context_.status->crpDel(address);
    BSR_TRACE(sm, 8, "Deleting CRP ", address, " from status");
  }
}

}  // namespace Routing::Pim::Bsr
