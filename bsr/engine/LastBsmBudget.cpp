#include "bsr/engine/LastBsmBudget.h"

#include <utility>

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

LastBsmBudget::LastBsmBudget(std::shared_ptr<const Status> bsrStatus,
                             std::shared_ptr<PimBsrLimits> limits)
    : bsrStatus_(std::move(bsrStatus)), limits_(std::move(limits)) {}

bool LastBsmBudget::take(std::size_t entries) {
  const std::uint64_t limit = maxKept(*limits_);
  if (entries <= limit && taken_ <= limit - entries) {
    taken_ += entries;
    return true;
  }
  limits_->refusedKeptInc();
  BSR_TRACE(sm, 1, "No room to keep a message's ", entries, " ranges and RPs besides ", taken_);
  return false;
}

}  // namespace Routing::Pim::Bsr
