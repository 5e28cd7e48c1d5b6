#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/net/IpGenAddr.h"
#include "platform/pim/PimProtocol.h"
#include "sim/core/PayloadStore.h"
#include "sim/core/Topology.h"

namespace Routing::Sim {

/// A PIM datagram on its way over one network.
struct Packet {
  std::uint64_t number = 0;  ///< counts transmissions
  double sentAt = 0.0;
  AddressFamily af = AddressFamily::unset;
  RouterId sender = 0;  ///< who put it on this network
  NetworkId network = 0;
  std::optional<RouterId> nextHop;  ///< whom unicast goes to; none for all others on the network
  IpGenAddr source;
  IpGenAddr destination;
  std::uint8_t ttl = 1;
  Payload payload;

  bool is(Pim::PimType type) const {
    return Pim::pimTypeOf(*payload) == static_cast<std::uint8_t>(type);
  }
};

}  // namespace Routing::Sim
