#include "platform/pim/DropReason.h"

#include <array>
#include <ostream>

namespace Routing::Pim {
namespace {

constexpr std::array<std::string_view, dropReasonCount> names = {
    "short-header",
    "bad-version",
    "bad-checksum",
    "bad-source",
    "wrong-destination",
    "truncated",
    "bad-family",
    "bad-encoding",
    "mask-too-long",
    "hash-mask-too-long",
    "not-multicast-group",
    "scoped-mask-too-short",
    "bad-bsr-address",
    "bad-rp-address",
    "frag-count-above-count",
    "duplicate-rp",
    "conflicting-range",
    "bad-option-length",
    "bad-secondary-address",
};
static_assert(static_cast<std::size_t>(DropReason::badSecondaryAddress) + 1 == dropReasonCount);
static_assert(!names.back().empty());

}  // namespace

std::string_view dropReasonText(DropReason reason) {
  const auto index = static_cast<std::size_t>(reason);
  return index < names.size() ? names[index] : "unknown";
}

std::ostream& operator<<(std::ostream& out, DropReason reason) {
  return out << dropReasonText(reason);
}

}  // namespace Routing::Pim
