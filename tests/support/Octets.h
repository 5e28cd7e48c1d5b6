#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::TestKit {

using Octets = std::vector<std::uint8_t>;

/// The octets written as hexadecimal digits; anything else is layout and skipped.
inline Octets hex(std::string_view text) {
  Octets out;
  int digits = 0;
  for (const char c : text) {
    int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    if (digit < 0) continue;
    if (digits++ % 2 == 0) out.push_back(0);
    out.back() = static_cast<std::uint8_t>(out.back() << 4 | digit);
  }
  return out;
}

/// An address or prefix from text that is known to be good; throws otherwise.
inline IpGenAddr addr(std::string_view text) {
  return IpGenAddr::fromText(text).value();
}
inline IpGenPrefix prefix(std::string_view text) {
  return IpGenPrefix::fromText(text).value();
}

}  // namespace Routing::TestKit
