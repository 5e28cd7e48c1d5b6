#pragma once

#include <memory>

#include "bsr/engine/ZoneServices.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"

namespace Routing::Pim::Bsr {

/// The elected BSR of one zone: while that is this router, a changed hash mask length reaches the
/// RPs that it announces.
class ROUTING_API AnnouncedHashMaskLen {
 public:
  AnnouncedHashMaskLen(std::shared_ptr<const Status> bsrStatus,
                       std::shared_ptr<const ElectedBsrStatus> bsr,
                       std::shared_ptr<ZoneServices> services);
  AnnouncedHashMaskLen(const AnnouncedHashMaskLen&) = delete;
  AnnouncedHashMaskLen& operator=(const AnnouncedHashMaskLen&) = delete;

  const std::shared_ptr<const ElectedBsrStatus>& bsr() const { return bsr_; }

 private:
  void handleHashMaskLen();
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  const std::shared_ptr<const Status> bsrStatus_;
  const std::shared_ptr<const ElectedBsrStatus> bsr_;
  const std::shared_ptr<ZoneServices> services_;
  Subscription hashMaskLenReactor_;
};

}  // namespace Routing::Pim::Bsr
