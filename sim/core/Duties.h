#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "config/model/DaemonConfig.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Sim {

/// The addresses of a router's interfaces in one family, for those that have one.
using Addresses = std::map<IntfId, IpGenAddr>;

/// What a router has to be in one family by its configuration and its addresses: what the network
/// may expect of it. Made of values alone, so that it can be held against what the library makes
/// of them.
struct Duties {
  struct Rp {
    std::map<IpGenPrefix, std::uint8_t> ranges;  ///< with the priority of each
    std::uint16_t interval = 60;                 ///< seconds
    bool bidirectional = false;
  };

  std::uint32_t holdTime = 130;                          ///< seconds
  std::map<IpGenPrefix, std::uint32_t> zones;            ///< where it is candidate BSR: interval
  std::map<IpGenAddr, Rp> rps;                           ///< by address
  std::map<IpGenPrefix, std::set<std::string>> borders;  ///< interfaces, by zone
  std::vector<std::string> interfaces;                   ///< on which PIM runs, in order
  std::set<IpGenPrefix> permit;                          ///< empty: every candidate RP is permitted

  /// Whether Bootstrap messages of a zone may cross an interface.
  bool passes(const std::string& intf, const IpGenPrefix& zone) const;
  /// Whether the filter lets a candidate RP through.
  bool permits(const IpGenAddr& rp) const;
};

/// The slowest timers of duties, in seconds; 0 where there is none.
struct Pace {
  std::uint32_t holdTime = 0;    ///< of BSRs
  std::uint32_t bsrPeriod = 0;   ///< between Bootstrap messages
  std::uint32_t rpInterval = 0;  ///< between advertisements

  /// Is as slow as the slower one in everything.
  void slowerOf(const Pace& other);
  friend bool operator==(const Pace&, const Pace&) = default;
};
Pace paceOf(const Duties& duties);

/// The configuration must be one in which judge() finds no error, and speak of the family in the
/// default VRF.
Duties dutiesOf(const Agent::DaemonConfig& config, AddressFamily af, const Addresses& addresses);

}  // namespace Routing::Sim
