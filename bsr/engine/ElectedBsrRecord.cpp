#include "bsr/engine/ElectedBsrRecord.h"

namespace Routing::Pim::Bsr {

bool namesBsr(const ElectedBsrStatus& bsr) {
  return !bsr.ipAddr().isUnset() && bsr.priority() != priorityUnknown;
}

void expiryTimeIs(ElectedBsrStatus& bsr, double expiryTime, double now) {
  bsr.expiryTimeIs(expiryTime);
  bsr.expiresIs(expiryTime - now);
  bsr.upTimeIs(now - bsr.setupTime());
}

}  // namespace Routing::Pim::Bsr
