#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>

#include "platform/Export.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Pim {

/// Bounds on what Hellos can make an interface remember.
struct NeighborLimits {
  std::size_t neighbors = 512;          ///< on one interface
  std::size_t secondaryAddresses = 64;  ///< of one neighbour

  friend bool operator==(const NeighborLimits&, const NeighborLimits&) = default;
};

/// How Hellos are sent and read on an interface; the defaults are those of RFC 7761 section 4.11.
struct ROUTING_API HelloConfig {
  /// Another program of this router sends the Hellos of the interface; this one only listens.
  bool passive = false;
  double helloPeriod = 30.0;              ///< seconds between Hellos, above 0
  std::uint16_t holdtime = 105;           ///< seconds, above 0; 65535 never expires
  double firstDelay = 5.0;                ///< seconds; bound of the first Hello's random delay
  double triggeredDelay = 5.0;            ///< seconds; bound of a triggered Hello's random delay
  std::uint32_t drPriority = 1;           ///< higher wins; if passive, until the other one is heard
  std::uint16_t propagationDelay = 500;   ///< milliseconds, 0 to 32767
  std::uint16_t overrideInterval = 2500;  ///< milliseconds
  NeighborLimits limits{};
  /// Whose Hellos are taken; everybody's if there is nothing here, nobody's if it is empty.
  std::optional<std::set<IpGenPrefix>> neighbors{};

  /// Whether Hellos from this address are taken.
  bool permits(const IpGenAddr& neighbor) const;

  friend bool operator==(const HelloConfig&, const HelloConfig&) = default;
};

}  // namespace Routing::Pim
