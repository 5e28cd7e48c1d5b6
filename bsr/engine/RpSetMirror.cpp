#include "bsr/engine/RpSetMirror.h"

#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "bsr/types/Traces.h"
#include "platform/entity/SortedBlocks.h"

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

/// Where an RP of a zone stands in PIM's set, and whether its range is the zone's to show, as found
/// when so many changes had been made.
struct RpSetMirror::View {
  std::shared_ptr<RpEntry>& rp;
  std::uint64_t& asOf;  // of the whole range
};

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

/// One RP of one range of one zone. An entry whose expiry is not set yet is still being written.
/// The RP outlives it: whoever deletes one holds it until all have been told.
class RpSetMirror::RpReactor {
 public:
  using EntityKey = IpGenAddr;
  using Told = std::size_t;

  RpReactor(SetReactor& set, RpEntry& rp);
  RpReactor(const RpReactor&) = delete;
  RpReactor& operator=(const RpReactor&) = delete;

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
  void handleHoldtimeExpired();
  std::shared_ptr<RpEntry> hold() const;
  RpSetMirror& mirror() const;
  const VrfName& vrfName() const { return mirror().vrfName(); }

  SetReactor& set_;
  RpEntry& rp_;
  std::shared_ptr<RpEntry> shown_;  // where the RP stands in PIM's set, as last found
  Timer holdTimer_;
};

/// One range of one zone.
class RpSetMirror::SetReactor {
 public:
  using EntityKey = IpGenPrefix;
  using Told = IpGenAddr;

  SetReactor(RpSetMirror& mirror, const IpGenPrefix& zone, std::shared_ptr<RpCandidateSet> set)
      : mirror_(mirror), zone_(zone), set_(std::move(set)) {
    ++mirror_.services_.rpSetTotals().groups;
  }
  SetReactor(const SetReactor&) = delete;
  SetReactor& operator=(const SetReactor&) = delete;

  RpSetMirror& mirror() const { return mirror_; }
  const IpGenPrefix& zone() const { return zone_; }
  const RpCandidateSet& entity() const { return *set_; }
  const IpGenPrefix& key() const { return set_->prefix(); }
  std::uint64_t& shownAsOf() { return shownAsOf_; }
  /// An RP has come or gone.
  void operator()(const IpGenAddr& rp) {
    const DeferredDelete::OwningHold held(mirror_.deferred_);
    handleRp(rp);
  }
  void start() {
    for (const IpGenAddr& address : keysOf(set_->rp())) handleRp(address);
  }
  void retire() {
    --mirror_.services_.rpSetTotals().groups;
    rps_.retireAll(*mirror_.deferred_);
  }

 private:
  void handleRp(const IpGenAddr& address);
  void handleRpDel(const IpGenAddr& address);
  const VrfName& vrfName() const { return mirror_.vrfName(); }

  RpSetMirror& mirror_;
  const IpGenPrefix& zone_;  // the zone reactor's
  std::shared_ptr<RpCandidateSet> set_;
  Reactors<RpReactor> rps_;
  std::uint64_t shownAsOf_ = 0;
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

RpSetMirror::RpReactor::RpReactor(SetReactor& set, RpEntry& rp)
    : set_(set), rp_(rp), holdTimer_(mirror().timerWheel_, [this] {
        const DeferredDelete::OwningHold held(mirror().deferred_);
        handleHoldtimeExpired();
      }) {
  ++mirror().services_.rpSetTotals().rps;
}

void RpSetMirror::RpReactor::retire() {
  --mirror().services_.rpSetTotals().rps;
  shown_ = nullptr;
  holdTimer_.expiryIs(never);
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
  const View view{shown_, set_.shownAsOf()};
  if (mirror().refresh(set_.zone(), rp_, view)) return;
  const auto held = hold();
  mirror().mirror(set_.zone(), set_.key(), rp_, &view);
}

inline void RpSetMirror::RpReactor::setHoldtimer() {
  holdTimer_.expiryIs(rp_.expiryTime());
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
  if (rps_.retire(address, *mirror_.deferred_)) handleRpDel(address);
  if (rp) rps_.start(rp->anyReactorOf<RpReactor>(*this, *rp));
}

void RpSetMirror::SetReactor::handleRpDel(const IpGenAddr& address) {
  const IpGenPrefix prefix = set_->prefix();
  mirror_.unmirrorRp(zone_, prefix, address);
  if (!set_->rp().empty()) return;
  const auto zoneStatus = mirror_.bsrStatus_->crpStatus(zone_);
  const auto status = zoneStatus ? zoneStatus->status() : nullptr;
  if (!status) {
    BSR_TRACE(sm, 8, "Nothing to do since the Crp Zone has already been deleted ");
  } else if (status->crpSet(prefix) == set_) {
    BSR_TRACE(sm, 4, "Deleted rpset for prefix ", prefix, " in zone ", zone_);
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
  if (set) sets_.start(set->rpReactorOf<SetReactor>(mirror_, zone(), set));
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
    if (!owner_.contains(prefix)) rpCandidateStatus_->crpSetDel(prefix);
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
    for (const IpGenPrefix& prefix : keysOf(owner_)) unmirrorSet(zone, prefix);
  }
  if (!zoneStatus || zones_->contains(zone)) return;
  zones_->start(zoneStatus->statusReactorOf<ZoneReactor>(*this, zoneStatus));
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
  const auto set = services_.rpSets().find(match, prefix);
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

// Whether a zone says what PIM is to know of a range whose most specific zone is `match`.
bool RpSetMirror::servesPim(const IpGenPrefix& zone, const IpGenPrefix& match) const {
  return match == zone || (match.isNone() && services_.policy().earlyView);
}

void RpSetMirror::ownerIs(const IpGenPrefix& prefix, const IpGenPrefix& zone) {
  ++ownerChanges_;
  owner_[prefix] = zone;
}

namespace {

/// Whether an RP still stands in a set of ranges, not just in what was one of them.
bool standsIn(const RpEntry& rp, const RpCandidateStatus& status) {
  return rp.parent() != nullptr && rp.parent()->parent() == &status;
}

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
inline bool RpSetMirror::refresh(const IpGenPrefix& zone, const RpEntry& rp,
                                 const View& view) const {
  if (!view.rp || view.asOf != changes() || services_.heldBack(zone) ||
      !standsIn(*view.rp, *rpCandidateStatus_) || !alikeButForTime(*view.rp, rp)) {
    return false;
  }
  view.rp->expiryTimeIs(rp.expiryTime());
  return true;
}

void RpSetMirror::mirror(const IpGenPrefix& zone, const IpGenPrefix& prefix, const RpEntry& rp,
                         const View* view) {
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
  if (view == nullptr) return;
  view->rp = std::move(shown);
  view->asOf = asOf;
}

std::shared_ptr<RpEntry> RpSetMirror::copy(const IpGenPrefix& zone, const IpGenPrefix& prefix,
                                           const RpEntry& rp) {
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
  return copy;
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
  ++ownerChanges_;
  owner_.erase(prefix);
  if (!rpCandidateStatus_->crpSet(prefix)) {
    BSR_TRACE(sm, 8, prefix, " already deleted from rpCandidateStatus");
    return;
  }
  rpCandidateStatus_->crpSetDel(prefix);
  BSR_TRACE(sm, 5, "Deleted crpSet with prefix ", prefix, " from rpCandidateStatus");
}

}  // namespace Routing::Pim::Bsr
