#include "bsr/engine/RpSetInstaller.h"

#include <algorithm>
#include <utility>

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

/// A message to install, and where to.
struct RpSetInstaller::Message {
  const IpGenPrefix& zone;
  const BootstrapMessage& bsm;
  RpHashMaskLen hashMaskLen;
  bool refresh;
  const Turn* turn;
  std::shared_ptr<RpCandidateStatus> sets;  // the zone's, as last found: findSet()
};

/// One of its group ranges, and the RPs that are known to be complete.
struct RpSetInstaller::Range {
  Message& message;
  const BootstrapGroupData& group;
  const BootstrapRpList& rps;
  bool reassembled;
  RpCandidateSet* set = nullptr;         // as first found, null if it was not there
  const Entity::Watch* watch = nullptr;  // on the set: whoever deletes it need not ask here

  const IpGenPrefix& zone() const { return message.zone; }
  PimMode mode() const { return group.bidir() ? PimMode::bidirectional : PimMode::sparse; }
  bool refreshes(const RpEntry& rp, const BootstrapRpData& data) const {
    return rp.holdTime().value() == data.rpHoldtime() && rp.hashMaskLen() == message.hashMaskLen &&
           rp.priority().value() == data.rpPriority() && rp.mode() == mode();
  }
};

RpSetInstaller::RpSetInstaller(const VrfName& vrfName, RpSets& rpSets,
                               std::shared_ptr<PimBsrLimits> limits, TimerWheel& timerWheel,
                               DeferredDelete& deferred)
    : vrfName_(vrfName),
      rpSets_(rpSets),
      timerWheel_(timerWheel),
      reassembly_(vrfName, timerWheel, limits, deferred),
      limits_(std::move(limits)) {}

void RpSetInstaller::storeRpSet(const IpGenPrefix& zone, const BootstrapMessage& bsm, bool refresh,
                                const Turn* turn) {
  BSR_TRACE(sm, 9, " ( zone=", zone, ", bsm=", bsm, ", refresh=", refresh ? "True" : "False", " )");
  Message message{zone, bsm, RpHashMaskLen(bsm.hashMaskLen()), refresh, turn, nullptr};
  if (!refresh) incomplete_.messageIs(zone, bsm.fragmentTag());
  for (const BootstrapGroupData& group : bsm.groupRpData()) {
    if (!goesOn(turn)) return;
    storeRange(message, group);
  }
}

void RpSetInstaller::storeRange(Message& message, const BootstrapGroupData& group) {
  const bool fragmented = group.fragRpCount() != 0 && group.fragRpCount() != group.rpCount();
  // A refresh replays one saved message: what is missing from it will not come.
  if (!fragmented && !message.refresh) incomplete_.rangeDel(message.zone, group.prefix());
  if (!fragmented || message.refresh) return install({message, group, group.rpList(), false});
  const std::uint16_t tag = message.bsm.fragmentTag();
  const auto complete = reassembly_.add(tag, group);
  if (!complete) return noteGap(message.zone, tag, group);
  incomplete_.rangeDel(message.zone, group.prefix());
  install({message, group, *complete, true});
  BSR_TRACE(sm, 1, "Fragments related to ", group.prefix(), " from fragment tag ", tag,
            " processed");
  reassembly_.processed(tag, group.prefix());
}

void RpSetInstaller::noteGap(const IpGenPrefix& zone, std::uint16_t tag,
                             const BootstrapGroupData& group) {
  const auto kept = reassembly_.bsmRxFragments(tag);
  const auto at =
      kept ? kept->groupRpData.find(group.prefix()) : decltype(kept->groupRpData.end()){};
  const bool known = kept && at != kept->groupRpData.end();
  const std::size_t received = known ? at->second.rps() : group.rpList().size();
  incomplete_.rangeIs(zone, group.prefix(), {group.rpCount(), received, timerWheel_.now(), tag},
                      limits_->maxFragments());
}

void RpSetInstaller::install(Range&& range) {
  range.set = findSet(range);
  if (range.set == nullptr) {
    if (mayCreate(range)) installRps(range);
    return;
  }
  const Entity::Watch watch(*range.set);
  range.watch = &watch;
  installRps(range);
}

// A range that only withdraws creates nothing; an empty one is known from now on.
bool RpSetInstaller::mayCreate(const Range& range) {
  const bool announces = std::any_of(range.rps.begin(), range.rps.end(),
                                     [](const auto& rp) { return rp.data.rpHoldtime() != 0; });
  if (range.message.refresh || !(announces || range.rps.empty())) return false;
  if (!rpSets_.roomForSet(range.zone(), range.group.prefix())) return false;
  if (range.rps.empty()) newCrpSet(range);
  return true;
}

void RpSetInstaller::installRps(const Range& range) {
  for (const BootstrapRp& said : range.rps) {
    if (!goesOn(range.message.turn)) return;
    if (said.data.rpHoldtime() != 0) {
      announce(range, said);
    } else {
      withdraw(range, said.address);
    }
  }
}

void RpSetInstaller::announce(const Range& range, const BootstrapRp& said) {
  const RpCandidateSet* const set = stands(range) ? range.set : findSet(range);
  RpEntry* const rp = set != nullptr ? set->rp(said.address).get() : nullptr;
  if (rp == nullptr) [[unlikely]] {
    if (const auto added = newRpEntry(range, said.address)) write(range, *added, said);
    return;
  }
  BSR_TRACE(sm, 4, "Updating RP ", said.address, " to prefix ", range.group.prefix(), " in zone ",
            range.zone());
  if (range.refreshes(*rp, said.data)) [[likely]] {
    expiryIs(range, *rp, said);
  } else {
    write(range, *std::shared_ptr<RpEntry>(set->rp(said.address)), said);
  }
}

// Each write may delete the RP from its set; somebody holds it to the last.
void RpSetInstaller::write(const Range& range, RpEntry& rp, const BootstrapRp& said) {
  rp.modeIs(range.mode());
  rp.priorityIs(RpPriority(said.data.rpPriority()));
  rp.holdTimeIs(CrpHoldTime(said.data.rpHoldtime()));
  rp.hashMaskLenIs(range.message.hashMaskLen);
  expiryIs(range, rp, said);
}

// One write, behind which the RP need not live.
inline void RpSetInstaller::expiryIs(const Range& range, RpEntry& rp, const BootstrapRp& said) {
  rp.expiryTimeIs(timerWheel_.now() + said.data.rpHoldtime());
  BSR_TRACE(sm, 5, "RP ", said.address, " to expire in ", said.data.rpHoldtime(),
            range.reassembled ? " seconds from now" : " from now");
}

// Null if this is a refresh or there is no room.
std::shared_ptr<RpEntry> RpSetInstaller::newRpEntry(const Range& range, const IpGenAddr& address) {
  const IpGenPrefix& prefix = range.group.prefix();
  if (range.message.refresh || !rpSets_.roomForRp(prefix, address)) return nullptr;
  const auto known = rpSets_.find(range.zone(), prefix);
  const auto set = known ? known : newCrpSet(range);
  const double now = timerWheel_.now();
  auto rp = set->newRp(address);
  rp->setupTimeIs(now);
  BSR_TRACE(sm, 4, "Adding RP ", address, " to prefix ", prefix, " in zone ", range.zone(),
            " with setup time of ", now);
  return rp;
}

void RpSetInstaller::withdraw(const Range& range, const IpGenAddr& address) {
  const auto set = rpSets_.find(range.zone(), range.group.prefix());
  if (!set || !set->rp(address)) return;
  set->rpDel(address);
  BSR_TRACE(sm, 4, "Deleted RP ", address, " since holdtime is 0");
}

// Asked for each RP: a withdrawal before this one may have removed an emptied set.
inline bool RpSetInstaller::stands(const Range& range) const {
  const auto& sets = range.message.sets;
  return range.watch != nullptr && range.watch->alive() && sets &&
         range.set->parent() == sets.get() && rpSets_.holds(*sets);
}

// Null if there is none; good until any set changes.
RpCandidateSet* RpSetInstaller::findSet(const Range& range) const {
  auto& sets = range.message.sets;
  if (!sets || !rpSets_.holds(*sets)) sets = rpSets_.setsOf(range.zone());
  return sets ? sets->crpSet(range.group.prefix()).get() : nullptr;
}

std::shared_ptr<RpCandidateSet> RpSetInstaller::newCrpSet(const Range& range) {
  const IpGenPrefix& prefix = range.group.prefix();
  BSR_TRACE(sm, 4, "Creating Rp set associated with prefix ", prefix, " in zone ", range.zone());
  return rpSets_.create(range.zone(), prefix);
}

}  // namespace Routing::Pim::Bsr
