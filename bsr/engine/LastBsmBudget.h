#pragma once

#include <cstddef>
#include <memory>

#include "bsr/types/Limits.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"

namespace Routing::Pim::Bsr {

/// Bounds the group ranges and RPs in the last messages of all zones together: a message may come
/// in many datagrams, and neighbours can name many zones.
class ROUTING_API LastBsmBudget {
 public:
  LastBsmBudget(std::shared_ptr<const Status> bsrStatus, std::shared_ptr<PimBsrLimits> limits);
  LastBsmBudget(const LastBsmBudget&) = delete;
  LastBsmBudget& operator=(const LastBsmBudget&) = delete;

  /// False, counted and traced, with nothing taken, if there is no room for so many more.
  bool take(std::size_t entries);
  void giveBack(std::size_t entries) { taken_ -= entries; }

 private:
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  std::shared_ptr<const Status> bsrStatus_;
  std::shared_ptr<PimBsrLimits> limits_;
  std::size_t taken_ = 0;
};

}  // namespace Routing::Pim::Bsr
