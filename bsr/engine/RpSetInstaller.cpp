#include "bsr/engine/RpSetInstaller.h"

#include <algorithm>
#include <utility>

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

/// One group range to install: where to, and the RPs that are known to be complete.
struct RpSetInstaller::Range {
  const IpGenPrefix& zone;
  const BootstrapGroupData& group;
  const BootstrapRpList& rps;
  RpHashMaskLen hashMaskLen;
  bool refresh;
  bool reassembled;
  const Turn* turn;
  std::shared_ptr<RpCandidateSet> set = nullptr;  // as last found: crpSet()

  PimMode mode() const { return group.bidir() ? PimMode::bidirectional : PimMode::sparse; }
  bool refreshes(const RpEntry& rp, const BootstrapRpData& data) const {
    return rp.holdTime().value() == data.rpHoldtime() && rp.hashMaskLen() == hashMaskLen &&
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
  const RpHashMaskLen hashMaskLen(bsm.hashMaskLen());
  if (!refresh) incomplete_.messageIs(zone, bsm.fragmentTag());
  for (const BootstrapGroupData& group : bsm.groupRpData()) {
    if (!goesOn(turn)) return;
    const bool fragmented = group.fragRpCount() != 0 && group.fragRpCount() != group.rpCount();
    // A refresh replays one saved message: what is missing from it will not come.
    if (!fragmented && !refresh) incomplete_.rangeDel(zone, group.prefix());
    if (!fragmented || refresh) {
      install({zone, group, group.rpList(), hashMaskLen, refresh, false, turn});
      continue;
    }
    const auto complete = reassembly_.add(bsm.fragmentTag(), group);
    if (!complete) {
      noteGap(zone, bsm.fragmentTag(), group);
      continue;
    }
    incomplete_.rangeDel(zone, group.prefix());
    install({zone, group, *complete, hashMaskLen, refresh, true, turn});
    BSR_TRACE(sm, 1, "Fragments related to ", group.prefix(), " from fragment tag ",
              bsm.fragmentTag(), " processed");
    reassembly_.processed(bsm.fragmentTag(), group.prefix());
  }
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

void RpSetInstaller::install(Range range) {
  const bool announces = std::any_of(range.rps.begin(), range.rps.end(),
                                     [](const auto& rp) { return rp.data.rpHoldtime() != 0; });
  if (!crpSet(range)) {
    // A range that only withdraws creates nothing; an empty one is known from now on.
    if (range.refresh || !(announces || range.rps.empty())) return;
    if (!rpSets_.roomForSet(range.zone, range.group.prefix())) return;
    if (range.rps.empty()) newCrpSet(range);
  }
  for (const BootstrapRp& said : range.rps) {
    if (!goesOn(range.turn)) return;
    if (said.data.rpHoldtime() != 0) {
      announce(range, said);
    } else {
      withdraw(range, said.address);
    }
  }
}

void RpSetInstaller::announce(Range& range, const BootstrapRp& said) {
  static const std::shared_ptr<RpEntry> none;
  const auto& set = crpSet(range);
  const auto& rp = set ? set->rp(said.address) : none;
  if (!rp) [[unlikely]] {
    if (const auto added = newRpEntry(range, said.address)) write(range, *added, said);
    return;
  }
  BSR_TRACE(sm, 4, "Updating RP ", said.address, " to prefix ", range.group.prefix(), " in zone ",
            range.zone);
  if (range.refreshes(*rp, said.data)) [[likely]] {
    expiryIs(range, *rp, said);
  } else {
    write(range, *std::shared_ptr<RpEntry>(rp), said);
  }
}

// Each write may delete the RP from its set; somebody holds it to the last.
void RpSetInstaller::write(const Range& range, RpEntry& rp, const BootstrapRp& said) {
  rp.modeIs(range.mode());
  rp.priorityIs(RpPriority(said.data.rpPriority()));
  rp.holdTimeIs(CrpHoldTime(said.data.rpHoldtime()));
  rp.hashMaskLenIs(range.hashMaskLen);
  expiryIs(range, rp, said);
}

// One write, behind which the RP need not live.
inline void RpSetInstaller::expiryIs(const Range& range, RpEntry& rp, const BootstrapRp& said) {
  rp.expiryTimeIs(timerWheel_.now() + said.data.rpHoldtime());
  BSR_TRACE(sm, 5, "RP ", said.address, " to expire in ", said.data.rpHoldtime(),
            range.reassembled ? " seconds from now" : " from now");
}

// Null if this is a refresh or there is no room.
std::shared_ptr<RpEntry> RpSetInstaller::newRpEntry(Range& range, const IpGenAddr& address) {
  const IpGenPrefix& prefix = range.group.prefix();
  if (range.refresh || !rpSets_.roomForRp(prefix, address)) return nullptr;
  if (!crpSet(range)) newCrpSet(range);
  const double now = timerWheel_.now();
  auto rp = range.set->newRp(address);
  rp->setupTimeIs(now);
  BSR_TRACE(sm, 4, "Adding RP ", address, " to prefix ", prefix, " in zone ", range.zone,
            " with setup time of ", now);
  return rp;
}

void RpSetInstaller::withdraw(Range& range, const IpGenAddr& address) {
  const auto set = crpSet(range);
  if (!set || !set->rp(address)) return;
  set->rpDel(address);
  BSR_TRACE(sm, 4, "Deleted RP ", address, " since holdtime is 0");
}

// Asked for each RP: a withdrawal before this one may have removed an emptied set.
inline const std::shared_ptr<RpCandidateSet>& RpSetInstaller::crpSet(Range& range) const {
  if (!range.set || !rpSets_.holds(*range.set)) [[unlikely]] {
    range.set = rpSets_.find(range.zone, range.group.prefix());
  }
  return range.set;
}

void RpSetInstaller::newCrpSet(Range& range) {
  const IpGenPrefix& prefix = range.group.prefix();
  BSR_TRACE(sm, 4, "Creating Rp set associated with prefix ", prefix, " in zone ", range.zone);
  range.set = rpSets_.create(range.zone, prefix);
}

}  // namespace Routing::Pim::Bsr
