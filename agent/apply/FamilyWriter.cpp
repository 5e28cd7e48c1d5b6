#include "agent/apply/FamilyWriter.h"

#include <algorithm>
#include <limits>

#include "agent/apply/CandidateWriter.h"
#include "agent/apply/Unwanted.h"

namespace Routing::Agent {
namespace {

using Pim::Bsr::IntfConfig;
using Pim::Bsr::VrfIntfConfig;
using Interfaces = std::map<std::string, InterfaceSettings>;

/// At least ten hold times. Configuration processing looks at it only when it changes, so that a
/// change of the hold time alone has to change it as well.
std::uint32_t scopeZoneTimeout(const FamilySettings& settings) {
  constexpr std::uint64_t longest = std::numeric_limits<std::uint32_t>::max();
  const std::uint64_t least = std::min(10 * std::uint64_t{settings.holdTime}, longest);
  return std::max(settings.scopeZoneTimeout, static_cast<std::uint32_t>(least));
}

bool isBorder(const Interfaces& interfaces, const std::string& name) {
  const auto found = interfaces.find(name);
  return found != interfaces.end() && found->second.border != BorderSettings{};
}

void addBorders(VrfIntfConfig& vrf, const Interfaces& interfaces) {
  for (const auto& [name, settings] : interfaces) {
    if (!isBorder(interfaces, name)) continue;
    std::shared_ptr<IntfConfig> intf = vrf.intfConfig(name);
    if (!intf) intf = std::make_shared<IntfConfig>(name);
    for (const IpGenPrefix& group : settings.border.groups) intf->bsrBorderGrpIs(group, true);
    for (const std::string& acl : settings.border.accessLists) intf->bsrBorderAclIs(acl, true);
    vrf.intfConfigIs(name, intf);
  }
}

void removeBorder(IntfConfig& intf, const BorderSettings& border) {
  const auto isGroup = [&](const IpGenPrefix& group) { return border.groups.contains(group); };
  for (const IpGenPrefix& group : unwanted(intf.bsrBorderGrp(), isGroup)) {
    intf.bsrBorderGrpDel(group);
  }
  const auto isList = [&](const std::string& acl) { return border.accessLists.contains(acl); };
  for (const std::string& acl : unwanted(intf.bsrBorderAcl(), isList)) intf.bsrBorderAclDel(acl);
}

void removeBorders(VrfIntfConfig& vrf, const Interfaces& interfaces) {
  const auto isWanted = [&](const std::string& name) { return isBorder(interfaces, name); };
  for (const std::string& name : unwanted(vrf.intfConfig(), isWanted)) vrf.intfConfigDel(name);
  for (const auto& [name, intf] : vrf.intfConfig()) removeBorder(*intf, interfaces.at(name).border);
}

}  // namespace

void addSettings(const FamilyEntities& entities, const FamilySettings& settings) {
  entities.config->holdTimeIs(settings.holdTime);
  entities.config->szTimeoutIs(scopeZoneTimeout(settings));
  for (const std::string& acl : settings.rpFilter) entities.config->crpFilterAclIs(acl, true);
  addBorders(*entities.vrfIntfConfig, settings.interfaces);
  addBsrCandidates(*entities.config, settings.bsrCandidates);
  addRpCandidates(*entities.config, settings.rpCandidates);
}

void removeSettings(const FamilyEntities& entities, const FamilySettings& settings) {
  removeRpCandidates(*entities.config, settings.rpCandidates);
  removeBsrCandidates(*entities.config, settings.bsrCandidates);
  removeBorders(*entities.vrfIntfConfig, settings.interfaces);
  const auto isWanted = [&](const std::string& acl) { return settings.rpFilter.contains(acl); };
  for (const std::string& acl : unwanted(entities.config->crpFilterAcl(), isWanted)) {
    entities.config->crpFilterAclDel(acl);
  }
}

}  // namespace Routing::Agent
