#pragma once

#include <cstdint>
#include <optional>

namespace Routing::Agent {

/// Time-outs in place of configured ones, in seconds (RFC 5059 section 5). They may be shorter than
/// a configuration permits, which is for tests.
struct TimeoutOverrides {
  std::optional<std::uint32_t> bsTimeout;
  std::optional<std::uint32_t> szTimeout;
};

}  // namespace Routing::Agent
