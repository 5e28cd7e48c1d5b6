#include "bsr/engine/AnnouncedHashMaskLen.h"

#include <utility>
#include <vector>

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

AnnouncedHashMaskLen::AnnouncedHashMaskLen(std::shared_ptr<const Status> bsrStatus,
                                           std::shared_ptr<const ElectedBsrStatus> bsr,
                                           std::shared_ptr<ZoneServices> services)
    : bsrStatus_(std::move(bsrStatus)), bsr_(std::move(bsr)), services_(std::move(services)) {
  hashMaskLenReactor_ =
      bsr_->hashMaskLenReactor(services_->deferred().held([this] { handleHashMaskLen(); }));
}

void AnnouncedHashMaskLen::handleHashMaskLen() {
  BSR_TRACE(sm, 9, "");
  if (bsr_->hashMaskLen() == hashMaskLenUnknown) return;
  const IpGenPrefix& zone = bsr_->zone();
  const auto& candidate = bsrStatus_->cbsr(zone);
  if (!candidate) {
    BSR_TRACE(sm, 4, "No local CBSR configured for zone ", zone, ". Nothing to do");
    return;
  }
  if (!candidate->elected()) {
    BSR_TRACE(sm, 4, "Local CBSR configured for zone ", zone, " is not elected BSR. Nothing to do");
    return;
  }
  std::vector<std::shared_ptr<RpEntry>> rps;
  for (const auto& rpSet : services_->rpSets().ofZone(zone)) {
    for (const auto& [address, rp] : rpSet->rp()) rps.push_back(rp);
  }
  if (rps.empty()) BSR_TRACE(sm, 4, "No CRP have been populated for zone ", zone);
  const RpHashMaskLen hashMaskLen(bsr_->hashMaskLen());
  for (const auto& rp : rps) {
    rp->hashMaskLenIs(hashMaskLen);
    BSR_TRACE(sm, 8, "Setting hash mask Len to ", hashMaskLen, " for RP ", rp->address(),
              " in rp candidate set for zone ", zone);
  }
}

}  // namespace Routing::Pim::Bsr
