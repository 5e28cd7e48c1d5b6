#pragma once

#include "bsr/types/Config.h"

namespace Routing::Pim::Bsr {

/// Settings that an entry of a candidate BSR was last given. A value that the entity refused but
/// holds never gets here.
struct BsrCandidateSettings {
  std::uint16_t priority = priorityUnknown;
  std::uint32_t hashMaskLen = hashMaskLenUnknown;
  std::uint32_t interval = BsrCandidateDefaults::intervalDefault;

  /// Whether a candidate can be made of them: nothing is "not set".
  bool usable() const {
    return priority < priorityUnknown && hashMaskLen < hashMaskLenUnknown &&
           interval >= BsrCandidateDefaults::minInterval &&
           interval <= BsrCandidateDefaults::maxInterval;
  }
  friend bool operator==(const BsrCandidateSettings&, const BsrCandidateSettings&) = default;
};

}  // namespace Routing::Pim::Bsr
