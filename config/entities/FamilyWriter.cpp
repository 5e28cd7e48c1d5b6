#include "config/entities/FamilyWriter.h"

#include <algorithm>
#include <limits>

#include "config/entities/CandidateWriter.h"
#include "config/entities/Unwanted.h"

namespace Routing::Agent {
namespace {

using Pim::Bsr::Config;
using Pim::Bsr::IntfConfig;
using Pim::Bsr::VrfIntfConfig;
using Interfaces = std::map<std::string, InterfaceSettings>;

/// At least ten hold times. Configuration processing looks at it only when it changes, so that a
/// change of the hold time alone has to change it as well.
std::uint32_t scopeZoneTimeout(const FamilySettings& settings) {
  constexpr std::uint64_t longest = std::numeric_limits<std::uint32_t>::max();
  const std::uint64_t least = std::min(Config::leastSzTimeout(settings.holdTime), longest);
  return std::max(settings.scopeZoneTimeout, static_cast<std::uint32_t>(least));
}

bool isBorder(const Interfaces& interfaces, const std::string& name) {
  const auto found = interfaces.find(name);
  return found != interfaces.end() && found->second.border != BorderSettings{};
}

void borderIs(IntfConfig& intf, const BorderSettings& border) {
  for (const IpGenPrefix& group : border.groups) intf.bsrBorderGrpIs(group, true);
  for (const std::string& acl : border.accessLists) intf.bsrBorderAclIs(acl, true);
  const auto isGroup = [&](const IpGenPrefix& group) { return border.groups.contains(group); };
  for (const IpGenPrefix& group : unwanted(intf.bsrBorderGrp(), isGroup)) {
    intf.bsrBorderGrpDel(group);
  }
  const auto isList = [&](const std::string& acl) { return border.accessLists.contains(acl); };
  for (const std::string& acl : unwanted(intf.bsrBorderAcl(), isList)) intf.bsrBorderAclDel(acl);
}

void bordersAre(VrfIntfConfig& vrf, const Interfaces& interfaces) {
  for (const auto& [name, settings] : interfaces) {
    if (!isBorder(interfaces, name)) continue;
    std::shared_ptr<IntfConfig> intf = vrf.intfConfig(name);
    if (!intf) intf = std::make_shared<IntfConfig>(name);
    borderIs(*intf, settings.border);
    vrf.intfConfigIs(name, intf);
  }
  const auto isWanted = [&](const std::string& name) { return isBorder(interfaces, name); };
  for (const std::string& name : unwanted(vrf.intfConfig(), isWanted)) vrf.intfConfigDel(name);
}

void filterIs(Pim::Bsr::Config& config, const std::set<std::string>& lists) {
  for (const std::string& acl : lists) config.crpFilterAclIs(acl, true);
  const auto isWanted = [&](const std::string& acl) { return lists.contains(acl); };
  for (const std::string& acl : unwanted(config.crpFilterAcl(), isWanted)) {
    config.crpFilterAclDel(acl);
  }
}

}  // namespace

void settingsAre(const FamilyEntities& entities, const FamilySettings& settings) {
  Pim::Bsr::Config& config = *entities.config;
  config.holdTimeIs(settings.holdTime);
  config.szTimeoutIs(scopeZoneTimeout(settings));
  filterIs(config, settings.rpFilter);
  bordersAre(*entities.vrfIntfConfig, settings.interfaces);
  bsrCandidatesAre(config, settings.bsrCandidates);
  rpCandidatesAre(config, settings.rpCandidates);
}

}  // namespace Routing::Agent
