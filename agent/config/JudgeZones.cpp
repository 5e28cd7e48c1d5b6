#include "agent/config/Judge.h"

namespace Routing::Agent {
namespace {

/// What gives an interface a zone.
struct Claim {
  std::string interface;
  std::string item;  ///< such as "/zone[224.0.0.0/4]"
  BsrCandidateSettings settings;
};

using Claims = std::map<IpGenPrefix, Claim>;

void claim(FamilyJudge& judge, Claims& claims, const IpGenPrefix& zone, const Claim& claim) {
  const auto [found, isNew] = claims.emplace(zone, claim);
  if (isNew) return;
  const Claim& before = found->second;
  const std::string path = judge.bsrCandidatePath(claim.interface) + claim.item;
  const std::string text = "zone " + zone.text() + " is claimed by interface[" + before.interface +
                           ']' + before.item + " too";
  if (before.interface != claim.interface) {
    judge.error(path, text + " (allowed: one interface for a zone)");
  } else if (before.settings != claim.settings) {
    judge.warn(path, text + ", with other settings; the last access list by name holds");
  }
}

/// The library keeps a list's owner by the name of the list, whatever the list permits. Says
/// whether the list has no other owner.
bool claimList(FamilyJudge& judge, std::map<std::string, std::string>& owners,
               const std::string& name, const std::string& interface) {
  const auto [found, isNew] = owners.emplace(name, interface);
  if (isNew) return true;
  judge.error(entryPath(judge.bsrCandidatePath(interface), "access-list", name),
              "the list makes zones of interface[" + found->second +
                  "] too (allowed: one interface for a list)");
  return false;
}

}  // namespace

void judgeZones(FamilyJudge& judge) {
  Claims claims;
  std::map<std::string, std::string> owners;
  for (const auto& [interface, candidate] : judge.settings.bsrCandidates) {
    for (const auto& [zone, settings] : candidate.zones) {
      claim(judge, claims, zone, {interface, entryPath("", "zone", zone.text()), settings});
    }
    for (const auto& [name, settings] : candidate.accessLists) {
      const AclPrefixes* list = judge.lists.find(judge.af, name);
      if (!claimList(judge, owners, name, interface) || list == nullptr) continue;
      for (const IpGenPrefix& zone : list->group) {
        claim(judge, claims, zone, {interface, entryPath("", "access-list", name), settings});
      }
    }
  }
}

}  // namespace Routing::Agent
