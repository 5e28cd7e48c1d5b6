#include "bsr/trie/PimBsrTrieBuilder.h"

#include <set>

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

PimBsrTrieBuilderSm::PimBsrTrieBuilderSm(std::shared_ptr<const Status> bsrStatus,
                                         std::shared_ptr<TrieGen> trieGen)
    : bsrStatus_(std::move(bsrStatus)), trieGen_(std::move(trieGen)) {
  bsrReactor_ =
      bsrStatus_->bootstrapRouterReactor([this](const IpGenPrefix& zone) { handleBsr(zone); });
  handleBsr();
}

void PimBsrTrieBuilderSm::handleBsr() {
  std::set<IpGenPrefix> zones;
  for (const auto& entry : bsrStatus_->bootstrapRouter()) zones.insert(entry.first);
  trieGen_->forEachRoute([&zones](const IpGenPrefix& zone) { zones.insert(zone); });
  for (const IpGenPrefix& zone : zones) handleBsr(zone);
}

void PimBsrTrieBuilderSm::handleBsr(const IpGenPrefix& zone) {
  BSR_TRACE(sm, 9, " ( ", zone, " )");
  if (const auto& bsr = bsrStatus_->bootstrapRouter(zone)) {
    auto& reactor = bsr_[zone];
    if (!reactor || reactor->bsr() != bsr) reactor = std::make_unique<BsrReactor>(*this, bsr);
    if (!trieGen_->routeIs(zone)) return;
    ++trieUpdates_;
    BSR_TRACE(sm, 8, "Added prefix ", zone, " into trie");
    return;
  }
  bsr_.erase(zone);
  if (!trieGen_->routeDel(zone)) return;
  ++trieUpdates_;
  BSR_TRACE(sm, 8, "Deleted prefix ", zone, " from trie");
}

PimBsrTrieBuilderSm::BsrReactor::BsrReactor(PimBsrTrieBuilderSm& builder,
                                            const std::shared_ptr<ElectedBsrStatus>& bsr)
    : builder_(builder), bsr_(bsr), initialized_(!bsr->ipAddr().isUnset()) {
  ipReactor_ = bsr_->ipAddrReactor([this] { handleBsrIp(); });
}

void PimBsrTrieBuilderSm::BsrReactor::handleBsrIp() {
  ROUTING_TRACE(traces::sm, 9, builder_.vrfName(), "");
  if (!initialized_) {
    initialized_ = true;
    return;
  }
  ROUTING_TRACE(traces::sm, 8, builder_.vrfName(), " BSR changed for zone ", bsr_->zone(), " to ",
                bsr_->ipAddr(), ". Generating changeroute event");
  ++builder_.trieUpdates_;
  builder_.trieGen_->changedRouteIs(bsr_->zone());
}

}  // namespace Routing::Pim::Bsr
