#include "bsr/engine/RpSetMirror.h"

#include <set>
#include <utility>
#include <vector>

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

namespace {

/// The keys of a collection as it is now: the host may change it while they are walked.
template <class Collection>
auto keysOf(const Collection& collection) {
  std::vector<typename Collection::key_type> keys;
  keys.reserve(collection.size());
  for (const auto& [key, value] : collection) keys.push_back(key);
  return keys;
}

}  // namespace

/// The reactors of a collection's entries, in the order of the entries' own keys, each in one block
/// of memory with its place among those of what it watches.
template <class Reactor>
class RpSetMirror::Reactors {
 public:
  using Key = typename Reactor::EntityKey;
  using Handle = ReactorHandle<typename Reactor::Told, Reactor>;

  /// True if there is a reactor for just this entity: an entry that was deleted may be back
  /// already, made by a reactor of the host, before its deletion is told.
  template <class Entity>
  bool watches(const Key& key, const std::shared_ptr<Entity>& entity) const {
    const auto at = reactors_.find(key);
    return reactors_.holds(at) ? &reactors_[at]->entity() == entity.get() : !entity;
  }
  bool contains(const Key& key) const { return reactors_.holds(reactors_.find(key)); }

  /// A Hold must exist, lest what it is told of frees it.
  void start(Handle handle) {
    Reactor& started = *handle.operator->();
    reactors_.insert(reactors_.lowerBound(started.key()), std::move(handle));
    started.start();
  }
  /// Takes a reactor out, makes it inert and frees it once it is safe.
  bool retire(const Key& key, DeferredDelete& deferred) {
    const auto at = reactors_.find(key);
    if (!reactors_.holds(at)) return false;
    retireAt(at, deferred);
    return true;
  }
  void retireAll(DeferredDelete& deferred) {
    while (!reactors_.empty()) retireAt(reactors_.begin(), deferred);
  }

 private:
  struct KeyOf {
    const Key& operator()(const Handle& handle) const { return handle->key(); }
  };
  using Handles = SortedBlocks<Handle, KeyOf>;

  void retireAt(typename Handles::Position at, DeferredDelete& deferred) {
    auto gone = std::make_shared<Handle>(reactors_.take(at));
    (*gone)->retire();
    gone->silence();
    deferred.take(std::move(gone));
  }

  Handles reactors_;
};

/// One RP of one range of one zone, and its hold timer. An entry whose expiry is not set yet is
/// still being written. The RP outlives it: whoever deletes one holds it until all have been told.
class RpSetMirror::RpReactor : private BareTimer {
 public:
  using EntityKey = IpGenAddr;
  using Told = std::size_t;

  RpReactor(SetReactor& set, RpEntry& rp);
  RpReactor(const RpReactor&) = delete;
  RpReactor& operator=(const RpReactor&) = delete;
  ~RpReactor() {
    if (armed()) holdTimerIs(never);
  }

  const RpEntry& entity() const { return rp_; }
  const IpGenAddr& key() const { return rp_.address(); }
  /// The RP has changed.
  void operator()(std::size_t attribute) {
    const DeferredDelete::OwningHold held(mirror().deferred_);
    handleChange(attribute);
  }
  void start() { handleChange(RpEntry::Attr::expiryTime); }
  void retire();

 private:
  void handleChange(std::size_t attribute);
  void setHoldtimer();
  void holdTimerIs(double instant) { expiryIs(mirror().timerWheel_, instant); }
  void handleHoldtimeExpired();
  std::shared_ptr<RpEntry> hold() const;
  RpSetMirror& mirror() const;
  const VrfName& vrfName() const { return mirror().vrfName(); }

  SetReactor& set_;
  RpEntry& rp_;
};

/// One range of one zone.
class RpSetMirror::SetReactor {
 public:
  using EntityKey = IpGenPrefix;
  using Told = IpGenAddr;

  SetReactor(ZoneReactor& zone, std::shared_ptr<RpCandidateSet> set);
  SetReactor(const SetReactor&) = delete;
  SetReactor& operator=(const SetReactor&) = delete;

  RpSetMirror& mirror() const;
  const IpGenPrefix& zone() const;
  const RpCandidateSet& entity() const { return *set_; }
  const IpGenPrefix& key() const { return set_->prefix(); }
  /// Where the range stood in PIM's set, and was the zone's to show, when so many changes had been
  /// made; null if it has not been found there.
  const std::shared_ptr<RpCandidateSet>& shown() const { return shown_; }
  std::uint64_t shownAsOf() const { return shownAsOf_; }
  void shownIs(std::shared_ptr<RpCandidateSet> shown, std::uint64_t asOf) {
    shown_ = std::move(shown);
    shownAsOf_ = asOf;
  }
  /// An RP has come or gone.
  void operator()(const IpGenAddr& rp) {
    const DeferredDelete::OwningHold held(mirror().deferred_);
    handleRp(rp);
  }
  void start() {
    for (const IpGenAddr& address : keysOf(set_->rp())) handleRp(address);
  }
  void retire() {
    --mirror().services_.rpSetTotals().groups;
    shown_ = nullptr;
    rps_.retireAll(*mirror().deferred_);
  }

 private:
  void handleRp(const IpGenAddr& address);
  void handleRpDel(const IpGenAddr& address);
  const VrfName& vrfName() const { return mirror().vrfName(); }

  ZoneReactor& zone_;
  std::shared_ptr<RpCandidateSet> set_;
  std::shared_ptr<RpCandidateSet> shown_;
  std::uint64_t shownAsOf_ = 0;
  Reactors<RpReactor> rps_;
};

/// All ranges of one zone.
class RpSetMirror::ZoneReactor {
 public:
  using EntityKey = IpGenPrefix;
  using Told = void;

  ZoneReactor(RpSetMirror& mirror, std::shared_ptr<PimBsrRpCandidateStatus> zoneStatus)
      : mirror_(mirror), zoneStatus_(std::move(zoneStatus)) {}
  ZoneReactor(const ZoneReactor&) = delete;
  ZoneReactor& operator=(const ZoneReactor&) = delete;

  RpSetMirror& mirror() const { return mirror_; }
  const PimBsrRpCandidateStatus& entity() const { return *zoneStatus_; }
  const IpGenPrefix& key() const { return zoneStatus_->zone(); }
  /// The zone's set of ranges has come or gone.
  void operator()() {
    const DeferredDelete::OwningHold held(mirror_.deferred_);
    handleStatus();
  }
  void start() { handleStatus(); }
  void retire() {
    setSubscription_.reset();
    sets_.retireAll(*mirror_.deferred_);
  }

 private:
  const IpGenPrefix& zone() const { return zoneStatus_->zone(); }
  void handleStatus();
  void handleSet(const IpGenPrefix& prefix);
  void handleSetDel(const IpGenPrefix& prefix);
  const VrfName& vrfName() const { return mirror_.vrfName(); }

  RpSetMirror& mirror_;
  std::shared_ptr<PimBsrRpCandidateStatus> zoneStatus_;
  std::shared_ptr<RpCandidateStatus> status_;  // whose sets are watched
  Reactors<SetReactor> sets_;
  Subscription setSubscription_;
};

RpSetMirror::SetReactor::SetReactor(ZoneReactor& zone, std::shared_ptr<RpCandidateSet> set)
    : zone_(zone), set_(std::move(set)) {
  ++mirror().services_.rpSetTotals().groups;
}

inline RpSetMirror& RpSetMirror::SetReactor::mirror() const {
  return zone_.mirror();
}

inline const IpGenPrefix& RpSetMirror::SetReactor::zone() const {
  return zone_.key();
}

RpSetMirror::RpReactor::RpReactor(SetReactor& set, RpEntry& rp)
    : BareTimer([](BareTimer& timer) {
        auto& self = static_cast<RpReactor&>(timer);
        const DeferredDelete::OwningHold held(self.mirror().deferred_);
        self.handleHoldtimeExpired();
      }),
      set_(set),
      rp_(rp) {
  ++mirror().services_.rpSetTotals().rps;
}

void RpSetMirror::RpReactor::retire() {
  --mirror().services_.rpSetTotals().rps;
  holdTimerIs(never);
}

inline RpSetMirror& RpSetMirror::RpReactor::mirror() const {
  return set_.mirror();
}

// Null while its deletion is told, and so is held by who deleted it.
std::shared_ptr<RpEntry> RpSetMirror::RpReactor::hold() const {
  return set_.entity().rp(key());
}

inline void RpSetMirror::RpReactor::handleChange(std::size_t attribute) {
  if (rp_.expiryTime() == 0.0) return;
  if (attribute == RpEntry::Attr::expiryTime) setHoldtimer();
  if (mirror().refresh(set_, rp_)) return;
  const auto held = hold();
  mirror().mirror(set_.zone(), set_.key(), rp_, &set_);
}

inline void RpSetMirror::RpReactor::setHoldtimer() {
  holdTimerIs(rp_.expiryTime());
  BSR_TRACE(sm, 5, " Set holdtimer to expire in ", rp_.expiryTime() - mirror().timerWheel_.now(),
            " from now for ", rp_.address(), " in prefix ", set_.key(), " of zone ", set_.zone());
}

void RpSetMirror::RpReactor::handleHoldtimeExpired() {
  const auto held = hold();
  if (rp_.holdTime().value() != 0) ++mirror().expired_;
  if (mirror().withdraw_(set_.zone(), rp_)) return;
  BSR_TRACE(sm, 4, "Deleting RP ", rp_.address(), " from prefix ", set_.key(), " and zone ",
            set_.zone());
  const auto set = mirror().services_.rpSets().find(set_.zone(), set_.key());
  if (set) set->rpDel(rp_.address());  // retires this reactor
}

void RpSetMirror::SetReactor::handleRp(const IpGenAddr& address) {
  const auto rp = set_->rp(address);
  if (rps_.watches(address, rp)) return;
  if (rps_.retire(address, *mirror().deferred_)) handleRpDel(address);
  if (rp) rps_.start(rp->anyReactorOf<RpReactor>(*this, *rp));
}

void RpSetMirror::SetReactor::handleRpDel(const IpGenAddr& address) {
  const IpGenPrefix prefix = set_->prefix();
  mirror().unmirrorRp(zone(), prefix, address);
  if (!set_->rp().empty()) return;
  const auto zoneStatus = mirror().bsrStatus_->crpStatus(zone());
  const auto status = zoneStatus ? zoneStatus->status() : nullptr;
  if (!status) {
    BSR_TRACE(sm, 8, "Nothing to do since the Crp Zone has already been deleted ");
  } else if (status->crpSet(prefix) == set_) {
    BSR_TRACE(sm, 4, "Deleted rpset for prefix ", prefix, " in zone ", zone());
    status->crpSetDel(prefix);  // retires this reactor
  }
}

void RpSetMirror::ZoneReactor::handleStatus() {
  sets_.retireAll(*mirror_.deferred_);
  status_ = zoneStatus_->status();
  setSubscription_.reset();
  if (!status_) return;
  setSubscription_ = status_->crpSetReactor(
      mirror_.deferred_->held([this](const IpGenPrefix& prefix) { handleSet(prefix); }));
  for (const IpGenPrefix& prefix : keysOf(status_->crpSet())) handleSet(prefix);
}

void RpSetMirror::ZoneReactor::handleSet(const IpGenPrefix& prefix) {
  const auto set = status_->crpSet(prefix);
  if (sets_.watches(prefix, set)) return;
  if (sets_.retire(prefix, *mirror_.deferred_)) handleSetDel(prefix);
  if (set) sets_.start(set->rpReactorOf<SetReactor>(*this, set));
}

void RpSetMirror::ZoneReactor::handleSetDel(const IpGenPrefix& prefix) {
  mirror_.unmirrorSet(zone(), prefix);
  if (!status_->crpSet().empty()) return;
  if (mirror_.bsrStatus_->crpStatus(zone()) != zoneStatus_) return;
  BSR_TRACE(sm, 4, "Deleted zone ", zone(), " RP set ");
  mirror_.bsrStatus_->crpStatusDel(zone());  // retires this reactor
}

RpSetMirror::RpSetMirror(std::shared_ptr<Status> bsrStatus,
                         std::shared_ptr<RpCandidateStatus> rpCandidateStatus,
                         ZoneServices& services, TimerWheel& timerWheel, TrieGen& bsrTrie,
                         Withdraw withdraw)
    : bsrStatus_(std::move(bsrStatus)),
      rpCandidateStatus_(std::move(rpCandidateStatus)),
      services_(services),
      timerWheel_(timerWheel),
      bsrTrie_(bsrTrie),
      withdraw_(std::move(withdraw)),
      deferred_(services.deferred().shared_from_this()),
      zones_(std::make_unique<Reactors<ZoneReactor>>()) {
  const DeferredDelete::OwningHold held(deferred_);
  zoneSubscription_ = bsrStatus_->crpStatusReactor(
      deferred_->held([this](const IpGenPrefix& zone) { handleZone(zone); }));
  trieSubscription_ = bsrTrie_.routeReactor(
      deferred_->held([this](const IpGenPrefix& zone, TrieEvent) { handleTrie(zone); }));
  for (const IpGenPrefix& zone : keysOf(bsrStatus_->crpStatus())) handleZone(zone);
  dropOrphans();
}

// What an earlier run left in PIM's set and no zone accounts for now would never expire.
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

void RpSetMirror::retire() {
  zoneSubscription_.reset();
  trieSubscription_.reset();
  zones_->retireAll(*deferred_);
}

RpSetMirror::~RpSetMirror() = default;

void RpSetMirror::handleZone(const IpGenPrefix& zone) {
  const auto zoneStatus = bsrStatus_->crpStatus(zone);
  if (zones_->watches(zone, zoneStatus)) return;
  if (zones_->retire(zone, *deferred_)) {
    for (const IpGenPrefix& prefix : owned()) unmirrorSet(zone, prefix);
  }
  if (!zoneStatus || zones_->contains(zone)) return;
  zones_->start(zoneStatus->statusReactorOf<ZoneReactor>(*this, zoneStatus));
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
    mirrorSet(match, *set);
  } else if (owner != nullptr && owner->contains(match)) {
    unmirrorSet(IpGenPrefix(*owner), prefix);
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

/// Whether a refresh is all that makes them differ.
bool alikeButForTime(const RpEntry& copy, const RpEntry& rp) {
  return copy.mode() == rp.mode() && copy.priority() == rp.priority() &&
         copy.holdTime() == rp.holdTime() && copy.hashMaskLen() == rp.hashMaskLen() &&
         copy.setupTime() == rp.setupTime();
}

void write(RpEntry& copy, const RpEntry& rp) {
  copy.modeIs(rp.mode());
  copy.priorityIs(rp.priority());
  copy.holdTimeIs(rp.holdTime());
  copy.hashMaskLenIs(rp.hashMaskLen());
  copy.setupTimeIs(rp.setupTime());
  copy.expiryTimeIs(rp.expiryTime());
}

}  // namespace

// One write, behind which neither RP need live.
inline bool RpSetMirror::refresh(const SetReactor& set, const RpEntry& rp) const {
  const auto& shown = set.shown();
  if (!shown || set.shownAsOf() != changes() || services_.heldBack(set.zone()) ||
      shown->parent() != rpCandidateStatus_.get()) {
    return false;
  }
  const auto& copy = shown->rp(rp.address());
  if (!copy || !alikeButForTime(*copy, rp)) return false;
  copy->expiryTimeIs(rp.expiryTime());
  return true;
}

void RpSetMirror::mirror(const IpGenPrefix& zone, const IpGenPrefix& prefix, const RpEntry& rp,
                         SetReactor* set) {
  if (services_.heldBack(zone)) return mirrorTimes(zone, prefix, rp);
  const std::uint64_t asOf = changes();  // what reactors change below counts as changed
  const IpGenPrefix match = bsrTrie_.longestMatch(prefix);
  if (!servesPim(zone, match)) {
    BSR_TRACE(sm, 8, "Not updating RpCandidateStatus since our zone ", zone,
              " does not match the longest prefix match ", match, " for prefix ", prefix);
    return;
  }
  if (!owns(zone, prefix)) {
    if (const auto rpSet = services_.rpSets().find(zone, prefix)) mirrorSet(zone, *rpSet);
    return;
  }
  auto shown = copy(zone, prefix, rp);
  if (set != nullptr) set->shownIs(std::move(shown), asOf);
}

// Returns the range of PIM's set that has the RP now.
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
void RpSetMirror::mirrorTimes(const IpGenPrefix& zone, const IpGenPrefix& prefix,
                              const RpEntry& rp) {
  const auto set = owns(zone, prefix) ? rpCandidateStatus_->crpSet(prefix) : nullptr;
  const auto copy = set ? set->rp(rp.address()) : nullptr;
  if (!copy) return;
  copy->holdTimeIs(rp.holdTime());
  copy->expiryTimeIs(rp.expiryTime());
}

// The zone takes a range over: what others put there goes, what it has comes.
void RpSetMirror::mirrorSet(const IpGenPrefix& zone, const RpCandidateSet& set) {
  const IpGenPrefix& prefix = set.prefix();
  ownerIs(prefix, zone);
  for (const IpGenAddr& address : keysOf(set.rp())) {
    // A reactor may delete it meanwhile.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const auto rp = set.rp(address);
    if (rp && rp->expiryTime() != 0.0) mirror(zone, prefix, *rp);
  }
  const auto mirrored = rpCandidateStatus_->crpSet(prefix);
  if (!mirrored) return;
  for (const IpGenAddr& address : keysOf(mirrored->rp())) {
    if (!set.rp(address)) mirrored->rpDel(address);
  }
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
  ownerDel(prefix);
  if (!rpCandidateStatus_->crpSet(prefix)) {
    BSR_TRACE(sm, 8, prefix, " already deleted from rpCandidateStatus");
    return;
  }
  rpCandidateStatus_->crpSetDel(prefix);
  BSR_TRACE(sm, 5, "Deleted crpSet with prefix ", prefix, " from rpCandidateStatus");
}

}  // namespace Routing::Pim::Bsr
