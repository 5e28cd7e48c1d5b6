#include "bsr/trie/PimBsrCrpPermitTrieBuilder.h"

#include <set>

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

PimBsrCrpPermitTrieBuilderSm::PimBsrCrpPermitTrieBuilderSm(std::shared_ptr<const Status> bsrStatus,
                                                           std::shared_ptr<TrieGen> trieGen)
    : bsrStatus_(std::move(bsrStatus)), trieGen_(std::move(trieGen)) {
  crpPermitReactor_ =
      bsrStatus_->crpPermitReactor([this](const IpGenPrefix& prefix) { handleCrpPermit(prefix); });
  handleCrpPermit();
}

void PimBsrCrpPermitTrieBuilderSm::handleCrpPermit() {
  std::set<IpGenPrefix> prefixes = bsrStatus_->crpPermit();
  trieGen_->forEachRoute([&prefixes](const IpGenPrefix& prefix) { prefixes.insert(prefix); });
  for (const IpGenPrefix& prefix : prefixes) handleCrpPermit(prefix);
}

void PimBsrCrpPermitTrieBuilderSm::handleCrpPermit(const IpGenPrefix& prefix) {
  BSR_TRACE(crpPermitTrieBuilderSm, 9, " ( ", prefix, " )");
  if (bsrStatus_->crpPermit(prefix)) {
    if (!trieGen_->routeIs(prefix)) return;
    ++trieUpdates_;
    BSR_TRACE(crpPermitTrieBuilderSm, 8, "Added prefix ", prefix, " into trie");
  } else {
    if (!trieGen_->routeDel(prefix)) return;
    ++trieUpdates_;
    BSR_TRACE(crpPermitTrieBuilderSm, 8, "Deleted prefix ", prefix, " from trie");
  }
}

}  // namespace Routing::Pim::Bsr
