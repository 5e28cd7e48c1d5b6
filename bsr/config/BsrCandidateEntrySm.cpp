#include "bsr/config/BsrCandidateEntrySm.h"

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

bool BsrCandidateEntrySm::handleInitialize() {
  BSR_TRACE(sm, 9, "");
  started_ = started_ || settings_.usable();
  if (!started_) {
    BSR_TRACE(sm, 8, "Skipping initialization since priority or hashmask lengths are not set");
  }
  return started_;
}

void BsrCandidateEntrySm::handlePriority(std::uint16_t priority) {
  BSR_TRACE(sm, 9, "");
  settings_.priority = priority;
  changed_();
}

void BsrCandidateEntrySm::handleHashMaskLen(std::uint32_t hashMaskLen) {
  BSR_TRACE(sm, 9, "");
  settings_.hashMaskLen = hashMaskLen;
  changed_();
}

void BsrCandidateEntrySm::handleInterval(std::uint32_t interval) {
  BSR_TRACE(sm, 9, "");
  settings_.interval = interval;
  changed_();
}

}  // namespace Routing::Pim::Bsr
