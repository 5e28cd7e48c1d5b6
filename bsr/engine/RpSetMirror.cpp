#include "bsr/engine/RpSetMirror.h"

#include <set>
#include <utility>
#include <vector>

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

/// One RP of one range of one zone. An entry whose expiry is not set yet is still being written.
class RpSetMirror::RpReactor {
 public:
  RpReactor(RpSetMirror& mirror, const IpGenPrefix& zone, const IpGenPrefix& prefix,
            std::shared_ptr<RpEntry> rp)
      : mirror_(mirror),
        zone_(zone),
        prefix_(prefix),
        rp_(std::move(rp)),
        holdTimer_(mirror.timerWheel_, [this] { handleHoldtimeExpired(); }) {
    ++mirror_.totals_.rps;
    changes_ = rp_->anyReactor([this](std::size_t attribute) { handleChange(attribute); });
    handleChange(RpEntry::Attr::expiryTime);
  }
  ~RpReactor() { --mirror_.totals_.rps; }
  RpReactor(const RpReactor&) = delete;
  RpReactor& operator=(const RpReactor&) = delete;

 private:
  void handleChange(std::size_t attribute) {
    if (rp_->expiryTime() == 0.0) return;
    if (attribute == RpEntry::Attr::expiryTime) setHoldtimer();
    mirror_.mirror(zone_, prefix_, *rp_);
  }
  void setHoldtimer();
  void handleHoldtimeExpired();
  const VrfName& vrfName() const { return mirror_.vrfName(); }

  RpSetMirror& mirror_;
  const IpGenPrefix& zone_;    // the zone reactor's
  const IpGenPrefix& prefix_;  // the set's key
  std::shared_ptr<RpEntry> rp_;
  Timer holdTimer_;
  Subscription changes_;
};

/// One range of one zone.
class RpSetMirror::SetReactor {
 public:
  SetReactor(RpSetMirror& mirror, const IpGenPrefix& zone, std::shared_ptr<RpCandidateSet> set)
      : mirror_(mirror), zone_(zone), set_(std::move(set)) {
    ++mirror_.totals_.groups;
    rpSubscription_ = set_->rpReactor([this](const IpGenAddr& rp) { handleRp(rp); });
    for (const auto& [address, rp] : set_->rp()) handleRp(address);
  }
  ~SetReactor() { --mirror_.totals_.groups; }
  SetReactor(const SetReactor&) = delete;
  SetReactor& operator=(const SetReactor&) = delete;

 private:
  void handleRp(const IpGenAddr& address);
  void handleRpDel(const IpGenAddr& address);
  const VrfName& vrfName() const { return mirror_.vrfName(); }

  RpSetMirror& mirror_;
  const IpGenPrefix& zone_;
  std::shared_ptr<RpCandidateSet> set_;
  std::map<IpGenAddr, std::unique_ptr<RpReactor>> rp_;
  Subscription rpSubscription_;
};

/// All ranges of one zone.
class RpSetMirror::ZoneReactor {
 public:
  ZoneReactor(RpSetMirror& mirror, std::shared_ptr<PimBsrRpCandidateStatus> zoneStatus)
      : mirror_(mirror), zoneStatus_(std::move(zoneStatus)) {
    statusSubscription_ = zoneStatus_->statusReactor([this] { handleStatus(); });
    handleStatus();
  }
  ZoneReactor(const ZoneReactor&) = delete;
  ZoneReactor& operator=(const ZoneReactor&) = delete;

 private:
  const IpGenPrefix& zone() const { return zoneStatus_->zone(); }
  void handleStatus();
  void handleSet(const IpGenPrefix& prefix);
  void handleSetDel(const IpGenPrefix& prefix);
  const VrfName& vrfName() const { return mirror_.vrfName(); }

  RpSetMirror& mirror_;
  std::shared_ptr<PimBsrRpCandidateStatus> zoneStatus_;
  std::map<IpGenPrefix, std::unique_ptr<SetReactor>> set_;
  Subscription statusSubscription_;
  Subscription setSubscription_;
};

void RpSetMirror::RpReactor::setHoldtimer() {
  holdTimer_.expiryIs(rp_->expiryTime());
  BSR_TRACE(sm, 5, " Set holdtimer to expire in ", rp_->expiryTime() - mirror_.timerWheel_.now(),
            " from now for ", rp_->address(), " in prefix ", prefix_, " of zone ", zone_);
}

void RpSetMirror::RpReactor::handleHoldtimeExpired() {
  BSR_TRACE(sm, 4, "Deleting RP ", rp_->address(), " from prefix ", prefix_, " and zone ", zone_);
  // The deletion ends this reactor.
  const auto set = mirror_.rpSets_.find(zone_, prefix_);
  const IpGenAddr address = rp_->address();
  if (set) set->rpDel(address);
}

void RpSetMirror::SetReactor::handleRp(const IpGenAddr& address) {
  if (const auto& rp = set_->rp(address)) {
    auto& reactor = rp_[address];
    if (!reactor) reactor = std::make_unique<RpReactor>(mirror_, zone_, set_->prefix(), rp);
  } else if (rp_.erase(address) > 0) {
    handleRpDel(address);
  }
}

void RpSetMirror::SetReactor::handleRpDel(const IpGenAddr& address) {
  const IpGenPrefix prefix = set_->prefix();
  mirror_.unmirrorRp(zone_, prefix, address);
  if (!set_->rp().empty()) return;
  const auto zoneStatus = mirror_.bsrStatus_->crpStatus(zone_);
  if (!zoneStatus || !zoneStatus->status()) {
    BSR_TRACE(sm, 8, "Nothing to do since the Crp Zone has already been deleted ");
  } else if (zoneStatus->status()->crpSet(prefix) == set_) {
    BSR_TRACE(sm, 4, "Deleted rpset for prefix ", prefix, " in zone ", zone_);
    zoneStatus->status()->crpSetDel(prefix);  // ends this reactor
  }
}

void RpSetMirror::ZoneReactor::handleStatus() {
  const auto& status = zoneStatus_->status();
  if (!status) return;
  setSubscription_ =
      status->crpSetReactor([this](const IpGenPrefix& prefix) { handleSet(prefix); });
  for (const auto& [prefix, set] : status->crpSet()) handleSet(prefix);
}

void RpSetMirror::ZoneReactor::handleSet(const IpGenPrefix& prefix) {
  if (const auto& set = zoneStatus_->status()->crpSet(prefix)) {
    auto& reactor = set_[prefix];
    if (!reactor) reactor = std::make_unique<SetReactor>(mirror_, zone(), set);
  } else if (set_.erase(prefix) > 0) {
    handleSetDel(prefix);
  }
}

void RpSetMirror::ZoneReactor::handleSetDel(const IpGenPrefix& prefix) {
  mirror_.unmirrorSet(zone(), prefix);
  if (!zoneStatus_->status()->crpSet().empty()) return;
  if (mirror_.bsrStatus_->crpStatus(zone()) != zoneStatus_) return;
  BSR_TRACE(sm, 4, "Deleted zone ", zone(), " RP set ");
  mirror_.bsrStatus_->crpStatusDel(zone());  // ends this reactor
}

RpSetMirror::RpSetMirror(std::shared_ptr<Status> bsrStatus,
                         std::shared_ptr<RpCandidateStatus> rpCandidateStatus, const RpSets& rpSets,
                         RpSetTotals& totals, TimerWheel& timerWheel, TrieGen& bsrTrie)
    : bsrStatus_(std::move(bsrStatus)),
      rpCandidateStatus_(std::move(rpCandidateStatus)),
      rpSets_(rpSets),
      totals_(totals),
      timerWheel_(timerWheel),
      bsrTrie_(bsrTrie) {
  zoneSubscription_ =
      bsrStatus_->crpStatusReactor([this](const IpGenPrefix& zone) { handleZone(zone); });
  trieSubscription_ =
      bsrTrie_.routeReactor([this](const IpGenPrefix& zone, TrieEvent) { handleTrie(zone); });
  for (const auto& [zone, status] : bsrStatus_->crpStatus()) handleZone(zone);
  dropOrphans();
}

// What an earlier run left in PIM's set and no zone accounts for now would never expire.
void RpSetMirror::dropOrphans() {
  std::vector<IpGenPrefix> orphans;
  for (const auto& [prefix, set] : rpCandidateStatus_->crpSet()) {
    if (!owner_.contains(prefix)) orphans.push_back(prefix);
  }
  for (const IpGenPrefix& prefix : orphans) rpCandidateStatus_->crpSetDel(prefix);
}

RpSetMirror::~RpSetMirror() = default;

void RpSetMirror::handleZone(const IpGenPrefix& zone) {
  if (const auto& zoneStatus = bsrStatus_->crpStatus(zone)) {
    auto& reactor = zone_[zone];
    if (!reactor) reactor = std::make_unique<ZoneReactor>(*this, zoneStatus);
    return;
  }
  zone_.erase(zone);
  std::vector<IpGenPrefix> left;
  for (const auto& [prefix, owner] : owner_) {
    if (owner == zone) left.push_back(prefix);
  }
  for (const IpGenPrefix& prefix : left) unmirrorSet(zone, prefix);
}

// A zone gained or lost its BSR: ranges inside it may have another most specific zone now.
void RpSetMirror::handleTrie(const IpGenPrefix& zone) {
  std::set<IpGenPrefix> inside;
  const auto collect = [&](const auto& byPrefix) {
    for (auto it = byPrefix.lower_bound(zone); it != byPrefix.end() && zone.contains(it->first);
         ++it) {
      inside.insert(it->first);
    }
  };
  collect(owner_);
  for (const auto& [other, zoneStatus] : bsrStatus_->crpStatus()) {
    if (zoneStatus->status()) collect(zoneStatus->status()->crpSet());
  }
  for (const IpGenPrefix& prefix : inside) settle(prefix);
}

void RpSetMirror::settle(const IpGenPrefix& prefix) {
  const IpGenPrefix match = bsrTrie_.longestMatch(prefix);
  if (match.isNone()) return;
  const auto owner = owner_.find(prefix);
  if (owner != owner_.end() && owner->second == match) return;
  const auto set = rpSets_.find(match, prefix);
  if (set && !set->rp().empty()) {
    mirrorSet(match, *set);
  } else if (owner != owner_.end() && owner->second.contains(match)) {
    unmirrorSet(IpGenPrefix(owner->second), prefix);
  }
}

bool RpSetMirror::owns(const IpGenPrefix& zone, const IpGenPrefix& prefix) const {
  const auto it = owner_.find(prefix);
  return it != owner_.end() && it->second == zone;
}

void RpSetMirror::mirror(const IpGenPrefix& zone, const IpGenPrefix& prefix, const RpEntry& rp) {
  const IpGenPrefix match = bsrTrie_.longestMatch(prefix);
  if (match != zone) {
    BSR_TRACE(sm, 8, "Not updating RpCandidateStatus since our zone ", zone,
              " does not match the longest prefix match ", match, " for prefix ", prefix);
    return;
  }
  if (!owns(zone, prefix)) {
    if (const auto set = rpSets_.find(zone, prefix)) mirrorSet(zone, *set);
    return;
  }
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
  copy->modeIs(rp.mode());
  copy->priorityIs(rp.priority());
  copy->holdTimeIs(rp.holdTime());
  copy->hashMaskLenIs(rp.hashMaskLen());
  copy->setupTimeIs(rp.setupTime());
  copy->expiryTimeIs(rp.expiryTime());
}

// The zone takes a range over: what others put there goes, what it has comes.
void RpSetMirror::mirrorSet(const IpGenPrefix& zone, const RpCandidateSet& set) {
  const IpGenPrefix& prefix = set.prefix();
  owner_[prefix] = zone;
  for (const auto& [address, rp] : set.rp()) {
    if (rp->expiryTime() != 0.0) mirror(zone, prefix, *rp);
  }
  const auto mirrored = rpCandidateStatus_->crpSet(prefix);
  if (!mirrored) return;
  std::vector<IpGenAddr> foreign;
  for (const auto& [address, rp] : mirrored->rp()) {
    if (!set.rp(address)) foreign.push_back(address);
  }
  for (const IpGenAddr& address : foreign) mirrored->rpDel(address);
}

void RpSetMirror::unmirrorRp(const IpGenPrefix& zone, const IpGenPrefix& prefix,
                             const IpGenAddr& rp) {
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

void RpSetMirror::unmirrorSet(const IpGenPrefix& zone, const IpGenPrefix& prefix) {
  if (!owns(zone, prefix)) return;
  owner_.erase(prefix);
  if (!rpCandidateStatus_->crpSet(prefix)) {
    BSR_TRACE(sm, 8, prefix, " already deleted from rpCandidateStatus");
    return;
  }
  rpCandidateStatus_->crpSetDel(prefix);
  BSR_TRACE(sm, 5, "Deleted crpSet with prefix ", prefix, " from rpCandidateStatus");
}

}  // namespace Routing::Pim::Bsr
