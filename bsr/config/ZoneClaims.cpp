#include "bsr/config/ZoneClaims.h"

#include <iterator>

#include "platform/acl/AclToPrefix.h"

namespace Routing::Pim::Bsr {

std::map<IpGenPrefix, std::set<IntfId>> zoneClaims(const Config& config, const IpAclConfig& acls) {
  std::map<IpGenPrefix, std::set<IntfId>> claims;
  for (const auto& [intf, candidate] : config.bsrCandidateConfig()) {
    for (const auto& group : candidate->group()) claims[group.first].insert(intf);
    for (const auto& entry : candidate->acl()) {
      const auto& acl = acls.acl(entry.first);
      if (!acl) continue;
      for (const IpGenPrefix& zone : AclToPrefix::of(acls.af(), *acl).group) {
        claims[zone].insert(intf);
      }
    }
  }
  return claims;
}

std::vector<ZoneConflict> zoneConflicts(const Config& config, const IpAclConfig& acls) {
  std::vector<ZoneConflict> conflicts;
  std::map<std::string, std::set<IntfId>> lists;
  for (const auto& [intf, candidate] : config.bsrCandidateConfig()) {
    for (const auto& entry : candidate->acl()) lists[entry.first].insert(intf);
  }
  for (const auto& [acl, intfs] : lists) {
    if (intfs.size() < 2) continue;
    conflicts.push_back({{}, acl, *intfs.begin(), *std::next(intfs.begin())});
  }
  for (const auto& [zone, intfs] : zoneClaims(config, acls)) {
    if (intfs.size() < 2) continue;
    conflicts.push_back({zone, {}, *intfs.begin(), *std::next(intfs.begin())});
  }
  return conflicts;
}

std::optional<ZoneConflict> zoneConflict(const Config& config, const IpAclConfig& acls,
                                         const IntfId& intf, const std::set<IpGenPrefix>& zones) {
  for (const auto& [zone, intfs] : zoneClaims(config, acls)) {
    if (!zones.contains(zone)) continue;
    for (const IntfId& owner : intfs) {
      if (owner != intf) return ZoneConflict{zone, {}, owner, intf};
    }
  }
  return std::nullopt;
}

}  // namespace Routing::Pim::Bsr
