#include "sim/invariants/GroupsComplete.h"

#include "sim/core/World.h"

namespace Routing::Sim {
namespace {

constexpr double memory = 60.0;  // seconds; beyond the life of a fragment

}  // namespace

void GroupsComplete::delivering(const Packet& packet, RouterId to) {
  if (!packet.is(Pim::PimType::bootstrap) || !world().speaker(to, packet.af).running()) return;
  const auto bsm = peekBsm(*packet.payload);
  if (!bsm) return;
  for (const BsmPeek::Group& group : bsm->groups) {
    if (group.fragRpCount == group.rpCount || group.fragRpCount == 0) continue;
    Received& received = received_[{to, bsm->bsr, bsm->fragmentTag, group.range}];
    received.rps.insert(group.rps.begin(), group.rps.end());
    received.last = world().now();
    if (received.rps.size() >= group.rpCount) continue;
    incomplete_.push_back({to,
                           packet.af,
                           bsm->zone(),
                           group.range,
                           std::set<IpGenAddr>(group.rps.begin(), group.rps.end()),
                           {}});
    incomplete_.back().before = rpsOf(incomplete_.back());
  }
}

void GroupsComplete::settled(const std::vector<RouterId>&) {
  for (const Incomplete& at : incomplete_) {
    if (!world().speaker(at.router, at.af).running()) continue;
    for (const auto& rp : rpsOf(at)) {
      const bool ends = rp.second <= world().instant();  // a BSR withdraws it with its answer
      if (!ends && at.announced.contains(rp.first) && !at.before.contains(rp)) {
        violated(nameOf(at.router) + " uses RP " + rp.first.text() + " of the incomplete range " +
                 at.range.text());
        break;
      }
    }
  }
  incomplete_.clear();
  forget();
}

GroupsComplete::RpSet GroupsComplete::rpsOf(const Incomplete& at) const {
  RpSet result;
  const auto& zone = world().speaker(at.router, at.af).status()->crpStatus(at.zone);
  const auto set = zone && zone->status() ? zone->status()->crpSet(at.range) : nullptr;
  if (!set) return result;
  for (const auto& [address, rp] : set->rp()) result.emplace(address, rp->expiryTime());
  return result;
}

void GroupsComplete::forget() {
  if (world().now() - forgotten_ < memory) return;
  forgotten_ = world().now();
  std::erase_if(received_,
                [&](const auto& entry) { return world().now() - entry.second.last > memory; });
}

}  // namespace Routing::Sim
