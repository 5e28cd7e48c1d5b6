#pragma once

#include <string>

#include "bsr/config/Claims.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Pim::Bsr {

/// What makes an interface candidate BSR of a zone: the zone itself (`list` is empty), which comes
/// first, or an access list.
struct ZoneSource {
  IntfId intf;
  std::string list;
  friend auto operator<=>(const ZoneSource&, const ZoneSource&) = default;
};

/// Who claims the zones of candidate BSRs, and who names the access lists that make them.
///
/// A zone has one interface of a router, however it is claimed, and so has a list, whatever it
/// permits. This is the only place that says so: configuration processing asks it before it writes,
/// the judgement of a configuration file beforehand.
template <class Terms>
class ZoneClaims {
 public:
  Claims<IpGenPrefix, ZoneSource, Terms> zones;
  Claims<std::string, IntfId, NoTerms> lists;

  bool conflict(const IpGenPrefix& zone) const {
    const auto& sources = zones.of(zone);  // sorted by interface
    return !sources.empty() && sources.begin()->first.intf != sources.rbegin()->first.intf;
  }
  bool listConflict(const std::string& list) const { return lists.of(list).size() > 1; }
};

}  // namespace Routing::Pim::Bsr
