#pragma once

#include <cstdint>

#include "platform/net/AddressFamily.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/net/VrfName.h"

namespace Routing::Agent {

/// What operators have an instance forget.
struct ClearOrder {
  enum class What : std::uint8_t { counters, neighbors, bsr, rp };

  VrfName vrf;
  AddressFamily af = AddressFamily::unset;
  What what = What::counters;
  IpGenPrefix zone = {};    ///< of BSRs and RPs; none: all zones
  IpGenAddr rp = {};        ///< of RPs; unset: all of them
  IpGenAddr neighbor = {};  ///< likewise, of neighbours
};

}  // namespace Routing::Agent
