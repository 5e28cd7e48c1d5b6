#include "bsr/engine/RpSetWatch.h"

#include <utility>

#include "bsr/engine/KeysOf.h"
#include "bsr/types/Traces.h"
#include "platform/entity/SortedBlocks.h"

namespace Routing::Pim::Bsr {

/// The reactors of a collection's entries, in the order of the entries' own keys, each in one block
/// of memory with its place among those of what it watches.
template <class Reactor>
class RpSetWatch::Reactors {
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
/// still being written. The RP outlives this: who deletes it holds it until all have been told.
class RpSetWatch::RpReactor : private BareTimer {
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
    const DeferredDelete::OwningHold held(watch().deferred_);
    handleChange(attribute);
  }
  void start() { handleChange(RpEntry::Attr::expiryTime); }
  void retire();

 private:
  void handleChange(std::size_t attribute);
  void armHoldTimer();
  void holdTimerIs(double instant) { expiryIs(watch().timerWheel_, instant); }
  void handleHoldTimeExpiry();
  std::shared_ptr<RpEntry> hold() const;
  RpSetWatch& watch() const;
  const VrfName& vrfName() const { return watch().vrfName(); }

  SetReactor& set_;
  RpEntry& rp_;
};

/// One range of one zone.
class RpSetWatch::SetReactor {
 public:
  using EntityKey = IpGenPrefix;
  using Told = IpGenAddr;

  SetReactor(ZoneReactor& zone, std::shared_ptr<RpCandidateSet> set);
  SetReactor(const SetReactor&) = delete;
  SetReactor& operator=(const SetReactor&) = delete;

  RpSetWatch& watch() const;
  const IpGenPrefix& zone() const;
  const RpCandidateSet& entity() const { return *set_; }
  const IpGenPrefix& key() const { return set_->prefix(); }
  /// Where the range was last seen in PIM's view.
  RpSetMirror::Place& place() { return place_; }
  /// An RP has come or gone.
  void operator()(const IpGenAddr& rp) {
    const DeferredDelete::OwningHold held(watch().deferred_);
    handleRp(rp);
  }
  void start() {
    for (const IpGenAddr& address : keysOf(set_->rp())) handleRp(address);
  }
  void retire() {
    --watch().services_.rpSetTotals().groups;
    place_ = {};
    rps_.retireAll(*watch().deferred_);
  }

 private:
  void handleRp(const IpGenAddr& address);
  void handleRpDel(const IpGenAddr& address);
  const VrfName& vrfName() const { return watch().vrfName(); }

  ZoneReactor& zone_;
  std::shared_ptr<RpCandidateSet> set_;
  RpSetMirror::Place place_;
  Reactors<RpReactor> rps_;
};

/// All ranges of one zone.
class RpSetWatch::ZoneReactor {
 public:
  using EntityKey = IpGenPrefix;
  using Told = void;

  ZoneReactor(RpSetWatch& watch, std::shared_ptr<PimBsrRpCandidateStatus> zoneStatus)
      : watch_(watch), zoneStatus_(std::move(zoneStatus)) {}
  ZoneReactor(const ZoneReactor&) = delete;
  ZoneReactor& operator=(const ZoneReactor&) = delete;

  RpSetWatch& watch() const { return watch_; }
  const PimBsrRpCandidateStatus& entity() const { return *zoneStatus_; }
  const IpGenPrefix& key() const { return zoneStatus_->zone(); }
  /// The zone's set of ranges has come or gone.
  void operator()() {
    const DeferredDelete::OwningHold held(watch_.deferred_);
    handleStatus();
  }
  void start() { handleStatus(); }
  void retire() {
    setSubscription_.reset();
    sets_.retireAll(*watch_.deferred_);
  }

 private:
  const IpGenPrefix& zone() const { return zoneStatus_->zone(); }
  void handleStatus();
  void handleSet(const IpGenPrefix& prefix);
  void handleSetDel(const IpGenPrefix& prefix);
  const VrfName& vrfName() const { return watch_.vrfName(); }

  RpSetWatch& watch_;
  std::shared_ptr<PimBsrRpCandidateStatus> zoneStatus_;
  std::shared_ptr<RpCandidateStatus> status_;  // whose sets are watched
  Reactors<SetReactor> sets_;
  Subscription setSubscription_;
};

RpSetWatch::SetReactor::SetReactor(ZoneReactor& zone, std::shared_ptr<RpCandidateSet> set)
    : zone_(zone), set_(std::move(set)) {
  ++watch().services_.rpSetTotals().groups;
}

inline RpSetWatch& RpSetWatch::SetReactor::watch() const {
  return zone_.watch();
}

inline const IpGenPrefix& RpSetWatch::SetReactor::zone() const {
  return zone_.key();
}

RpSetWatch::RpReactor::RpReactor(SetReactor& set, RpEntry& rp)
    : BareTimer([](BareTimer& timer) {
        auto& self = static_cast<RpReactor&>(timer);
        const DeferredDelete::OwningHold held(self.watch().deferred_);
        self.handleHoldTimeExpiry();
      }),
      set_(set),
      rp_(rp) {
  ++watch().services_.rpSetTotals().rps;
}

void RpSetWatch::RpReactor::retire() {
  --watch().services_.rpSetTotals().rps;
  holdTimerIs(never);
}

inline RpSetWatch& RpSetWatch::RpReactor::watch() const {
  return set_.watch();
}

// Null while its deletion is told, and so is held by who deleted it.
std::shared_ptr<RpEntry> RpSetWatch::RpReactor::hold() const {
  return set_.entity().rp(key());
}

inline void RpSetWatch::RpReactor::handleChange(std::size_t attribute) {
  if (rp_.expiryTime() == 0.0) return;
  if (attribute == RpEntry::Attr::expiryTime) armHoldTimer();
  RpSetMirror& mirror = watch().mirror_;
  if (mirror.refresh(set_.place(), set_.zone(), rp_)) return;
  const auto held = hold();
  mirror.rpIs(set_.zone(), set_.key(), rp_, &set_.place());
}

inline void RpSetWatch::RpReactor::armHoldTimer() {
  holdTimerIs(rp_.expiryTime());
  BSR_TRACE(sm, 5, " Set holdtimer to expire in ", rp_.expiryTime() - watch().timerWheel_.now(),
            " from now for ", rp_.address(), " in prefix ", set_.key(), " of zone ", set_.zone());
}

void RpSetWatch::RpReactor::handleHoldTimeExpiry() {
  const auto held = hold();
  if (rp_.holdTime().value() != 0) ++watch().expired_;
  if (watch().withdraw_(set_.zone(), rp_)) return;
  BSR_TRACE(sm, 4, "Deleting RP ", rp_.address(), " from prefix ", set_.key(), " and zone ",
            set_.zone());
  const auto set = watch().services_.rpSets().find(set_.zone(), set_.key());
  if (set) set->rpDel(rp_.address());  // retires this reactor
}

void RpSetWatch::SetReactor::handleRp(const IpGenAddr& address) {
  const auto rp = set_->rp(address);
  if (rps_.watches(address, rp)) return;
  if (rps_.retire(address, *watch().deferred_)) handleRpDel(address);
  if (!rp || rp != set_->rp(address) || rps_.contains(address)) return;
  rps_.start(rp->anyReactorOf<RpReactor>(*this, *rp));
}

void RpSetWatch::SetReactor::handleRpDel(const IpGenAddr& address) {
  const IpGenPrefix prefix = set_->prefix();
  watch().mirror_.rpDel(zone(), prefix, address);
  if (!set_->rp().empty()) return;
  const auto zoneStatus = watch().bsrStatus_->crpStatus(zone());
  const auto status = zoneStatus ? zoneStatus->status() : nullptr;
  if (!status) {
    BSR_TRACE(sm, 8, "Nothing to do since the Crp Zone has already been deleted ");
  } else if (status->crpSet(prefix) == set_) {
    BSR_TRACE(sm, 4, "Deleted rpset for prefix ", prefix, " in zone ", zone());
    status->crpSetDel(prefix);  // retires this reactor
  }
}

void RpSetWatch::ZoneReactor::handleStatus() {
  sets_.retireAll(*watch_.deferred_);
  setSubscription_.reset();
  if (std::exchange(status_, zoneStatus_->status())) watch_.mirror_.zoneDel(zone());
  if (!status_) return;
  setSubscription_ = status_->crpSetReactor(
      watch_.deferred_->held([this](const IpGenPrefix& prefix) { handleSet(prefix); }));
  for (const IpGenPrefix& prefix : keysOf(status_->crpSet())) handleSet(prefix);
}

void RpSetWatch::ZoneReactor::handleSet(const IpGenPrefix& prefix) {
  const auto status = status_;
  const auto set = status->crpSet(prefix);
  if (sets_.watches(prefix, set)) return;
  if (sets_.retire(prefix, *watch_.deferred_)) handleSetDel(prefix);
  if (!set || status != status_ || set != status->crpSet(prefix) || sets_.contains(prefix)) return;
  sets_.start(set->rpReactorOf<SetReactor>(*this, set));
}

void RpSetWatch::ZoneReactor::handleSetDel(const IpGenPrefix& prefix) {
  watch_.mirror_.setDel(zone(), prefix);
  if (!status_ || !status_->crpSet().empty()) return;
  if (watch_.bsrStatus_->crpStatus(zone()) != zoneStatus_) return;
  BSR_TRACE(sm, 4, "Deleted zone ", zone(), " RP set ");
  watch_.bsrStatus_->crpStatusDel(zone());  // retires this reactor
}

RpSetWatch::RpSetWatch(std::shared_ptr<Status> bsrStatus, RpSetMirror& mirror,
                       ZoneServices& services, TimerWheel& timerWheel, Withdraw withdraw)
    : bsrStatus_(std::move(bsrStatus)),
      mirror_(mirror),
      services_(services),
      timerWheel_(timerWheel),
      withdraw_(std::move(withdraw)),
      deferred_(services.deferred().shared_from_this()),
      zones_(std::make_unique<Reactors<ZoneReactor>>()) {
  const DeferredDelete::OwningHold held(deferred_);
  zoneSubscription_ = bsrStatus_->crpStatusReactor(
      deferred_->held([this](const IpGenPrefix& zone) { handleZone(zone); }));
  for (const IpGenPrefix& zone : keysOf(bsrStatus_->crpStatus())) handleZone(zone);
  mirror_.dropOrphans();
}

RpSetWatch::~RpSetWatch() = default;

void RpSetWatch::retire() {
  zoneSubscription_.reset();
  zones_->retireAll(*deferred_);
}

void RpSetWatch::handleZone(const IpGenPrefix& zone) {
  const auto zoneStatus = bsrStatus_->crpStatus(zone);
  if (zones_->watches(zone, zoneStatus)) return;
  if (zones_->retire(zone, *deferred_)) mirror_.zoneDel(zone);
  if (!zoneStatus || zones_->contains(zone)) return;
  zones_->start(zoneStatus->statusReactorOf<ZoneReactor>(*this, zoneStatus));
}

}  // namespace Routing::Pim::Bsr
