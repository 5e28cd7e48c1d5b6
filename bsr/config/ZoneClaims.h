#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "bsr/types/Config.h"
#include "platform/acl/IpAclConfig.h"

/// A zone may have one candidate-BSR interface of a router; a second claim is a failed assertion of
/// configuration processing. These say beforehand, from the configuration alone, whether that would
/// happen; interfaces without address and incomplete settings count as well, because they may
/// become complete.
namespace Routing::Pim::Bsr {

/// Two interfaces that claim one zone, or name one access list (`acl`; the zone is then none).
struct ZoneConflict {
  IpGenPrefix zone;
  std::string acl;
  IntfId first;
  IntfId second;
  friend bool operator==(const ZoneConflict&, const ZoneConflict&) = default;
};

/// The interfaces that claim each zone, by group or by what an access list permits.
ROUTING_API std::map<IpGenPrefix, std::set<IntfId>> zoneClaims(const Config& config,
                                                               const IpAclConfig& acls);

/// Every conflict of a configuration: lists by name, then zones.
ROUTING_API std::vector<ZoneConflict> zoneConflicts(const Config& config, const IpAclConfig& acls);

/// The first conflict that the interface would have with another, if it claimed these zones.
ROUTING_API std::optional<ZoneConflict> zoneConflict(const Config& config, const IpAclConfig& acls,
                                                     const IntfId& intf,
                                                     const std::set<IpGenPrefix>& zones);

}  // namespace Routing::Pim::Bsr
