#include "bsr/config/ZoneClaims.h"
#include "config/judge/Judge.h"

namespace Routing::Agent {
namespace {

using Pim::Bsr::ZoneSource;
using Claims = Pim::Bsr::ZoneClaims<ZoneSettings>;

/// Such as "/zone[224.0.0.0/4]".
std::string itemPath(const ZoneSource& source, const IpGenPrefix& zone) {
  return source.list.empty() ? entryPath("", "zone", zone.text())
                             : entryPath("", "access-list", source.list);
}

/// Whoever comes later is told of the first, in the order of the interfaces and their items.
void claimZone(FamilyJudge& judge, Claims& claims, const IpGenPrefix& zone,
               const ZoneSource& source, const ZoneSettings& settings) {
  claims.zones.claim(zone, source, settings);
  const auto& [first, firstSettings] = *claims.zones.of(zone).begin();
  if (first == source) return;
  const std::string path = judge.bsrCandidatePath(source.intf.text()) + itemPath(source, zone);
  const std::string text = "zone " + zone.text() + " is claimed by interface[" + first.intf.text() +
                           ']' + itemPath(first, zone) + " too";
  if (claims.conflict(zone)) {
    judge.error(path, text + " (allowed: one interface for a zone)");
  } else if (firstSettings != settings) {
    judge.warn(path, text + ", with other settings; the last access list by name holds");
  }
}

/// Says whether the list has no other owner.
bool claimList(FamilyJudge& judge, Claims& claims, const std::string& name, const IntfId& intf) {
  claims.lists.claim(name, intf, {});
  if (!claims.listConflict(name)) return true;
  const IntfId& first = claims.lists.of(name).begin()->first;
  judge.error(entryPath(judge.bsrCandidatePath(intf.text()), "access-list", name),
              "the list makes zones of interface[" + first.text() +
                  "] too (allowed: one interface for a list)");
  return false;
}

}  // namespace

void judgeZones(FamilyJudge& judge) {
  Claims claims;
  for (const auto& [name, candidate] : judge.settings.bsrCandidates) {
    const IntfId intf(name);
    for (const auto& [zone, settings] : candidate.zones) {
      claimZone(judge, claims, zone, {intf, ""}, settings);
    }
    for (const auto& [list, settings] : candidate.accessLists) {
      const AclPrefixes* permitted = judge.lists.find(judge.af, list);
      if (!claimList(judge, claims, list, intf) || permitted == nullptr) continue;
      for (const IpGenPrefix& zone : permitted->group) {
        claimZone(judge, claims, zone, {intf, list}, settings);
      }
    }
  }
}

}  // namespace Routing::Agent
