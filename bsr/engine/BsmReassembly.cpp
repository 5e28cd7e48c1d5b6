#include "bsr/engine/BsmReassembly.h"

#include <cmath>
#include <utility>
#include <vector>

#include "bsr/types/Traces.h"
#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {

BsmReassembly::BsmReassembly(VrfName vrfName, TimerWheel& timerWheel,
                             std::shared_ptr<PimBsrLimits> limits, DeferredDelete& deferred)
    : vrfName_(std::move(vrfName)),
      timerWheel_(timerWheel),
      limits_(std::move(limits)),
      fragmentTimer_(timerWheel, deferred.held([this] { handleFragmentTimerExpiry(); })) {}

std::shared_ptr<PimBsrRxFragments> BsmReassembly::bsmRxFragments(std::uint16_t tag) const {
  const auto it = bsmRxFragments_.find(tag);
  return it == bsmRxFragments_.end() ? nullptr : it->second;
}

std::optional<BootstrapRpList> BsmReassembly::add(std::uint16_t tag,
                                                  const BootstrapGroupData& group) {
  const IpGenPrefix& prefix = group.prefix();
  BSR_TRACE(sm, 8, "RP Count=", int{group.rpCount()}, " RP Frag Count=", int{group.fragRpCount()},
            " Fragment Tag=", tag);
  auto fragments = bsmRxFragments(tag);
  const bool kept = fragments && fragments->groupRpData.contains(prefix);
  if (kept && contradicts(fragments->groupRpData[prefix], group)) {
    BSR_TRACE(sm, 1, "Dropping fragments of ", prefix, " with fragment tag ", tag,
              " since they contradict each other");
    processed(tag, prefix);
    return std::nullopt;
  }
  if (!kept && groups_ >= limits_->maxFragments()) {
    limits_->refusedFragmentsInc();
    BSR_TRACE(sm, 1, "Dropping fragment of ", prefix, " since ", groups_, " ranges are incomplete");
    return std::nullopt;
  }
  if (!fragments) {
    fragments = std::make_shared<PimBsrRxFragments>(tag);
    bsmRxFragments_.emplace(tag, fragments);
    handleBsmRxFragments(tag);
  }
  PimBsrRxFragment& fragment = fragments->groupRpData[prefix];
  if (!kept) {
    fragment.rpCount = group.rpCount();
    fragment.creationTime = timerWheel_.now();
    ++groups_;
  }
  for (const auto& [address, data] : group.rpList()) fragment.rp.rpIs(address, data);
  if (fragment.rps() < fragment.rpCount) return std::nullopt;
  ROUTING_ASSERT_TEXT(fragment.rpCount == fragment.rps(), "fragment->rpCount() == fragment->rps()");
  BSR_TRACE(sm, 8, "We have received all fragments to process fragment tag ", tag, " and prefix ",
            prefix);
  return std::move(fragment.rp);
}

bool BsmReassembly::contradicts(const PimBsrRxFragment& kept,
                                const BootstrapGroupData& group) const {
  std::size_t together = kept.rps();
  for (const auto& [address, data] : group.rpList()) {
    if (kept.rp.find(address) == nullptr) ++together;
  }
  return kept.rpCount != group.rpCount() || together > kept.rpCount;
}

void BsmReassembly::processed(std::uint16_t tag, const IpGenPrefix& prefix) {
  const auto fragments = bsmRxFragments(tag);
  if (!fragments) return;
  groupDel(*fragments, prefix);
  if (fragments->groupRpData.empty()) tagDel(tag);
}

void BsmReassembly::bsmRxFragmentsDel(const std::shared_ptr<PimBsrRxFragments>& fragments) {
  if (bsmRxFragments(fragments->fragTag) != fragments) return;
  groups_ -= fragments->groupRpData.size();
  fragments->groupRpData.clear();
  tagDel(fragments->fragTag);
}

void BsmReassembly::groupDel(PimBsrRxFragments& fragments, const IpGenPrefix& prefix) {
  groups_ -= fragments.groupRpData.erase(prefix);
}

void BsmReassembly::tagDel(std::uint16_t tag) {
  bsmRxFragments_.erase(tag);
  handleBsmRxFragments(tag);
}

void BsmReassembly::handleBsmRxFragments(std::uint16_t tag) {
  BSR_TRACE(sm, 9, " ( ", tag, " )");
  if (bsmRxFragments_.empty()) {
    fragmentTimer_.expiryIs(never);
    BSR_TRACE(sm, 5, "Stopped fragment timer");
  } else if (bsmRxFragments_.size() == 1 && bsmRxFragments_.contains(tag)) {
    fragmentTimer_.expiryInIs(fragmentInterval);
    BSR_TRACE(sm, 5, "Started fragment timer to expire in ", fragmentInterval, " seconds from now");
  }
}

void BsmReassembly::handleFragmentTimerExpiry() {
  BSR_TRACE(sm, 9, "");
  for (auto it = bsmRxFragments_.begin(); it != bsmRxFragments_.end();) {
    const auto [tag, fragments] = *it++;  // past the entry, which may go
    if (!ageOut(*fragments)) continue;
    BSR_TRACE(sm, 1, "Deleted fragment ", tag, " due to timeout");
    tagDel(tag);
  }
  if (bsmRxFragments_.empty()) return;
  fragmentTimer_.expiryInIs(fragmentInterval);
  BSR_TRACE(sm, 5, "Next fragmentTimerTimeout in ", fragmentInterval, " seconds from now");
}

// True if nothing is left.
bool BsmReassembly::ageOut(PimBsrRxFragments& fragments) {
  std::vector<IpGenPrefix> old;
  for (const auto& [prefix, fragment] : fragments.groupRpData) {
    const auto age = std::lround(timerWheel_.now() - fragment.creationTime);
    BSR_TRACE(sm, 1, "fragment ", prefix, " around for ", age, " seconds");
    if (age < static_cast<long>(fragmentTimeout)) continue;
    BSR_TRACE(sm, 1, "Deleted Group fragment ", prefix,
              " due to timeout. Num Rps=", fragment.rps());
    old.push_back(prefix);
  }
  for (const IpGenPrefix& prefix : old) groupDel(fragments, prefix);
  return fragments.groupRpData.empty();
}

}  // namespace Routing::Pim::Bsr
