#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/pim/wire/BlockPool.h"
#include "platform/pim/wire/BootstrapMessage.h"

namespace Routing::Pim::Bsr {

/// One fragment of a Bootstrap message under construction.
struct PimBsrTxFragment {
  std::shared_ptr<BootstrapMessage> bsm;
  std::uint32_t length = 0;  ///< octets used so far
};

/// The fragments of one message for one MTU.
struct PimBsrTxFragments {
  std::uint32_t numFragments() const { return static_cast<std::uint32_t>(fragment.size()); }

  std::vector<PimBsrTxFragment, PoolAllocator<PimBsrTxFragment>> fragment;
};

}  // namespace Routing::Pim::Bsr
