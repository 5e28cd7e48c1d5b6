#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "platform/net/IpGenPrefix.h"
#include "platform/pim/wire/BootstrapMessage.h"

namespace Routing::Pim::Bsr {

/// What has arrived of one group range whose RPs are spread over fragments.
struct PimBsrRxFragment {
  std::uint8_t rpCount = 0;   ///< RPs of the range in the whole message
  double creationTime = 0.0;  ///< seconds on the event loop's clock
  BootstrapRpList rp;

  std::size_t rps() const { return rp.size(); }
};

/// The incomplete group ranges of the Bootstrap messages of one fragment tag.
struct PimBsrRxFragments {
  explicit PimBsrRxFragments(std::uint16_t tag) : fragTag(tag) {}

  const std::uint16_t fragTag;
  std::map<IpGenPrefix, PimBsrRxFragment> groupRpData;
};

}  // namespace Routing::Pim::Bsr
