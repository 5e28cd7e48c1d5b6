#include "agent/apply/ZoneMoves.h"

#include <algorithm>
#include <vector>

namespace Routing::Agent {
namespace {

/// An entry that makes an interface candidate BSR: a zone, or an access list.
struct Claim {
  std::string interface;
  std::string list;             // empty for a zone
  std::set<IpGenPrefix> zones;  // that it may give at any time on the way
  bool stays = false;
};

using Claims = std::vector<Claim>;

void addPermitted(std::set<IpGenPrefix>& zones, const FamilyState& state, const std::string& list) {
  const AclPrefixes* permitted = state.lists.find(state.af, list);
  if (permitted != nullptr) zones.insert(permitted->group.begin(), permitted->group.end());
}

bool isIn(const FamilySettings& settings, const Claim& claim) {
  const auto found = settings.bsrCandidates.find(claim.interface);
  if (found == settings.bsrCandidates.end()) return false;
  const BsrCandidate& candidate = found->second;
  return claim.list.empty() ? candidate.zones.contains(*claim.zones.begin())
                            : candidate.accessLists.contains(claim.list);
}

/// The claims of one configuration.
Claims claimsOf(const FamilyState& state, const FamilyState& other) {
  Claims claims;
  for (const auto& [interface, candidate] : state.settings.bsrCandidates) {
    for (const auto& [zone, settings] : candidate.zones) {
      claims.push_back({interface, "", {zone}});
    }
    for (const auto& [list, settings] : candidate.accessLists) {
      claims.push_back({interface, list, {}});
      addPermitted(claims.back().zones, state, list);
      addPermitted(claims.back().zones, other, list);
    }
  }
  for (Claim& claim : claims) claim.stays = isIn(other.settings, claim);
  return claims;
}

bool clash(const Claim& a, const Claim& b) {
  if (a.interface == b.interface) return false;
  if (!a.list.empty() && a.list == b.list) return true;
  return std::any_of(a.zones.begin(), a.zones.end(),
                     [&b](const IpGenPrefix& zone) { return b.zones.contains(zone); });
}

bool clashesWithAny(const Claim& claim, const Claims& claims) {
  return std::any_of(claims.begin(), claims.end(),
                     [&claim](const Claim& other) { return clash(claim, other); });
}

void erase(Pim::Bsr::Config& config, const Claim& claim) {
  const auto candidate = config.bsrCandidateConfig(IntfId(claim.interface));
  if (!candidate) return;
  if (claim.list.empty()) {
    candidate->groupDel(*claim.zones.begin());
  } else {
    candidate->aclDel(claim.list);
  }
}

}  // namespace

void clearZoneMoves(Pim::Bsr::Config& config, const FamilyState& before, const FamilyState& after) {
  const Claims old = claimsOf(before, after);
  Claims all = claimsOf(after, before);
  all.insert(all.end(), old.begin(), old.end());
  Claims staying;
  std::copy_if(old.begin(), old.end(), std::back_inserter(staying),
               [](const Claim& claim) { return claim.stays; });
  for (const Claim& claim : old) {
    if (clashesWithAny(claim, claim.stays ? staying : all)) erase(config, claim);
  }
}

}  // namespace Routing::Agent
