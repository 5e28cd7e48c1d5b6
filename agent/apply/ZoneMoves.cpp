#include "agent/apply/ZoneMoves.h"

#include <algorithm>
#include <map>
#include <set>
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

/// Who claims what. Two interfaces clash over a zone and over a list.
class Owners {
 public:
  void add(const Claim& claim) {
    for (const IpGenPrefix& zone : claim.zones) zones_[zone].insert(claim.interface);
    if (!claim.list.empty()) lists_[claim.list].insert(claim.interface);
  }
  /// The claim is one of those that were added.
  bool clash(const Claim& claim) const {
    if (!claim.list.empty() && lists_.at(claim.list).size() > 1) return true;
    return std::any_of(claim.zones.begin(), claim.zones.end(),
                       [this](const IpGenPrefix& zone) { return zones_.at(zone).size() > 1; });
  }

 private:
  std::map<IpGenPrefix, std::set<std::string>> zones_;
  std::map<std::string, std::set<std::string>> lists_;
};

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
  Owners all;
  Owners staying;
  for (const Claim& claim : claimsOf(after, before)) all.add(claim);
  for (const Claim& claim : old) {
    all.add(claim);
    if (claim.stays) staying.add(claim);
  }
  for (const Claim& claim : old) {
    if ((claim.stays ? staying : all).clash(claim)) erase(config, claim);
  }
}

}  // namespace Routing::Agent
