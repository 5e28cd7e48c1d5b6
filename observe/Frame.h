#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/pim/wire/IpDatagram.h"

namespace Routing::Observe {

/// How frames of a capture begin: the numbers of link-layer header types that capture files bear.
enum class LinkType : int { ethernet = 1, raw = 101, linuxCooked = 113, linuxCooked2 = 276 };

/// The PIM message in a frame, behind VLAN tags if there are any; none if it holds no whole one.
std::optional<Pim::IpPayload> pimOf(int linkType, std::span<const std::uint8_t> frame);

}  // namespace Routing::Observe
