#include "bsr/engine/RpSetMirror.h"

#include <set>
#include <utility>

#include "bsr/engine/KeysOf.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

RpSetMirror::RpSetMirror(std::shared_ptr<Status> bsrStatus,
                         std::shared_ptr<RpCandidateStatus> rpCandidateStatus,
                         ZoneServices& services, TrieGen& bsrTrie)
    : bsrStatus_(std::move(bsrStatus)),
      rpCandidateStatus_(std::move(rpCandidateStatus)),
      services_(services),
      bsrTrie_(bsrTrie) {
  trieSubscription_ = bsrTrie_.routeReactor(
      services_.deferred().held([this](const IpGenPrefix& zone, TrieEvent) { handleTrie(zone); }));
}

void RpSetMirror::dropOrphans() {
  for (const IpGenPrefix& prefix : keysOf(rpCandidateStatus_->crpSet())) {
    if (ownerOf(prefix) == nullptr) rpCandidateStatus_->crpSetDel(prefix);
  }
}

void RpSetMirror::show(const IpGenPrefix& zone, const BootstrapMessage& bsm, bool first) {
  for (const BootstrapGroupData& group : bsm.groupRpData()) {
    if (bsrTrie_.longestMatch(group.prefix()) == zone) showRange(zone, group, first);
  }
}

void RpSetMirror::showRange(const IpGenPrefix& zone, const BootstrapGroupData& group, bool first) {
  const IpGenPrefix& prefix = group.prefix();
  const auto set = services_.rpSets().find(zone, prefix);
  if (!set) return;
  ownerIs(prefix, zone);
  for (const auto& [address, data] : group.rpList()) {
    // A reactor may delete it meanwhile.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const auto rp = data.rpHoldtime() != 0 ? set->rp(address) : nullptr;
    if (rp && rp->expiryTime() != 0.0) copy(zone, prefix, *rp);
  }
  const auto shown = rpCandidateStatus_->crpSet(prefix);
  if (!shown) return;
  for (const IpGenAddr& address : keysOf(shown->rp())) {
    const BootstrapRpData* said = group.rpList().find(address);
    const bool stays = said != nullptr ? said->rpHoldtime() != 0 : !first && set->rp(address);
    if (!stays) shown->rpDel(address);
  }
  if (shown->rp().empty()) rpCandidateStatus_->crpSetDel(prefix);
}

void RpSetMirror::zoneDel(const IpGenPrefix& zone) {
  for (const IpGenPrefix& prefix : owned()) setDel(zone, prefix);
}

// A zone gained or lost its BSR: ranges inside it may have another most specific zone now.
void RpSetMirror::handleTrie(const IpGenPrefix& zone) {
  std::set<IpGenPrefix> inside;
  for (auto at = owned_.lowerBound(zone); owned_.holds(at) && zone.contains(owned_[at].prefix);
       at = owned_.next(at)) {
    inside.insert(owned_[at].prefix);
  }
  for (const auto& [other, zoneStatus] : bsrStatus_->crpStatus()) {
    if (!zoneStatus->status()) continue;
    const auto& sets = zoneStatus->status()->crpSet();
    for (auto it = sets.lower_bound(zone); it != sets.end() && zone.contains(it->first); ++it) {
      inside.insert(it->first);
    }
  }
  for (const IpGenPrefix& prefix : inside) settle(prefix);
}

void RpSetMirror::settle(const IpGenPrefix& prefix) {
  const IpGenPrefix match = bsrTrie_.longestMatch(prefix);
  if (match.isNone()) return;
  const IpGenPrefix* const owner = ownerOf(prefix);
  if (owner != nullptr && *owner == match) return;
  const auto set = services_.rpSets().find(match, prefix);
  if (set && !set->rp().empty()) {
    takeOver(match, *set);
  } else if (owner != nullptr && owner->contains(match)) {
    setDel(IpGenPrefix(*owner), prefix);
  }
}

// The zone that shows PIM a range, null if none does. Good until an owner changes.
const IpGenPrefix* RpSetMirror::ownerOf(const IpGenPrefix& prefix) const {
  const auto at = owned_.find(prefix);
  return owned_.holds(at) ? &owned_[at].zone : nullptr;
}

bool RpSetMirror::owns(const IpGenPrefix& zone, const IpGenPrefix& prefix) const {
  const IpGenPrefix* const owner = ownerOf(prefix);
  return owner != nullptr && *owner == zone;
}

std::vector<IpGenPrefix> RpSetMirror::owned() const {
  std::vector<IpGenPrefix> prefixes;
  prefixes.reserve(owned_.size());
  for (auto at = owned_.begin(); at != owned_.end(); at = owned_.next(at)) {
    prefixes.push_back(owned_[at].prefix);
  }
  return prefixes;
}

// Whether a zone says what PIM is to know of a range whose most specific zone is `match`.
bool RpSetMirror::servesPim(const IpGenPrefix& zone, const IpGenPrefix& match) const {
  return match == zone || (match.isNone() && services_.policy().earlyView);
}

void RpSetMirror::ownerIs(const IpGenPrefix& prefix, const IpGenPrefix& zone) {
  ++ownerChanges_;
  const auto at = owned_.lowerBound(prefix);
  if (owned_.holds(at) && owned_[at].prefix == prefix) {
    owned_[at].zone = zone;
  } else {
    owned_.insert(at, {prefix, zone});
  }
}

void RpSetMirror::ownerDel(const IpGenPrefix& prefix) {
  ++ownerChanges_;
  owned_.take(owned_.find(prefix));
}

namespace {

void write(RpEntry& copy, const RpEntry& rp) {
  copy.modeIs(rp.mode());
  copy.priorityIs(rp.priority());
  copy.holdTimeIs(rp.holdTime());
  copy.hashMaskLenIs(rp.hashMaskLen());
  copy.setupTimeIs(rp.setupTime());
  copy.expiryTimeIs(rp.expiryTime());
}

}  // namespace

void RpSetMirror::rpIs(const IpGenPrefix& zone, const IpGenPrefix& prefix, const RpEntry& rp,
                       Place* place) {
  if (services_.heldBack(zone)) return timesAre(zone, prefix, rp);
  const std::uint64_t asOf = changes();  // what reactors change below counts as changed
  const IpGenPrefix match = bsrTrie_.longestMatch(prefix);
  if (!servesPim(zone, match)) {
    BSR_TRACE(sm, 8, "Not updating RpCandidateStatus since our zone ", zone,
              " does not match the longest prefix match ", match, " for prefix ", prefix);
    return;
  }
  if (!owns(zone, prefix)) {
    if (const auto rpSet = services_.rpSets().find(zone, prefix)) takeOver(zone, *rpSet);
    return;
  }
  auto set = copy(zone, prefix, rp);
  if (place != nullptr) *place = {std::move(set), asOf};
}

// Returns the range of PIM's view that has the RP now.
std::shared_ptr<RpCandidateSet> RpSetMirror::copy(const IpGenPrefix& zone,
                                                  const IpGenPrefix& prefix, const RpEntry& rp) {
  auto set = rpCandidateStatus_->crpSet(prefix);
  if (!set) {
    BSR_TRACE(sm, 5, "Forced creation of crpSet with prefix ", prefix, " in rpCandidateStatus");
    set = rpCandidateStatus_->newCrpSet(prefix);
  }
  auto copy = set->rp(rp.address());
  if (!copy) {
    BSR_TRACE(sm, 5, "Forced creation of RP ", rp.address(), " in Rp Set for prefix ", prefix,
              " in zone ", zone);
    copy = set->newRp(rp.address());
  }
  write(*copy, rp);
  return set;
}

// What is held back is who serves a range and how; how long it does may be seen.
void RpSetMirror::timesAre(const IpGenPrefix& zone, const IpGenPrefix& prefix, const RpEntry& rp) {
  const auto set = owns(zone, prefix) ? rpCandidateStatus_->crpSet(prefix) : nullptr;
  const auto copy = set ? set->rp(rp.address()) : nullptr;
  if (!copy) return;
  copy->holdTimeIs(rp.holdTime());
  copy->expiryTimeIs(rp.expiryTime());
}

// The zone takes a range over: what others put there goes, what it has comes. Nothing but what is
// on its way out is held back here: until the next message the range would have no RPs.
void RpSetMirror::takeOver(const IpGenPrefix& zone, const RpCandidateSet& set) {
  const IpGenPrefix& prefix = set.prefix();
  ownerIs(prefix, zone);
  for (const IpGenAddr& address : keysOf(set.rp())) {
    // A reactor may delete it meanwhile.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const auto rp = set.rp(address);
    if (!rp || rp->expiryTime() == 0.0) continue;
    if (!services_.heldBack(zone)) {
      rpIs(zone, prefix, *rp);
    } else if (rp->holdTime().value() != 0) {
      copy(zone, prefix, *rp);
    }
  }
  const auto mirrored = rpCandidateStatus_->crpSet(prefix);
  if (!mirrored) return;
  for (const IpGenAddr& address : keysOf(mirrored->rp())) {
    const auto& rp = set.rp(address);
    if (!rp || (services_.heldBack(zone) && rp->holdTime().value() == 0)) mirrored->rpDel(address);
  }
}

void RpSetMirror::rpDel(const IpGenPrefix& zone, const IpGenPrefix& prefix, const IpGenAddr& rp) {
  if (!owns(zone, prefix)) return;
  const auto set = rpCandidateStatus_->crpSet(prefix);
  if (!set) {
    BSR_TRACE(sm, 8,
              "Nothing to do since the CrpSet has already been deleted from rpCandidateStatus");
    return;
  }
  set->rpDel(rp);
  BSR_TRACE(sm, 5, "Deleted RP ", rp, " from crpSet with prefix ", prefix,
            " from rpCandidateStatus");
}

void RpSetMirror::setDel(const IpGenPrefix& zone, const IpGenPrefix& prefix) {
  if (!owns(zone, prefix)) return;
  ownerDel(prefix);
  if (!rpCandidateStatus_->crpSet(prefix)) {
    BSR_TRACE(sm, 8, prefix, " already deleted from rpCandidateStatus");
    return;
  }
  rpCandidateStatus_->crpSetDel(prefix);
  BSR_TRACE(sm, 5, "Deleted crpSet with prefix ", prefix, " from rpCandidateStatus");
}

}  // namespace Routing::Pim::Bsr
