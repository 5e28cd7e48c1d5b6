#include "config/judge/Judgement.h"

#include "config/judge/Judge.h"

namespace Routing::Agent {
namespace {

/// An interface is in one VRF at a time.
void judgeInterfaces(const DaemonConfig& config, Findings& findings) {
  std::map<std::string, VrfName> owner;
  const auto claim = [&](const std::string& name, const VrfName& vrf, const std::string& path) {
    const auto [found, isNew] = owner.emplace(name, vrf);
    if (isNew || found->second == vrf) return;
    findings.push_back({Severity::error, 0, path,
                        "the interface is in vrf[" + found->second.text() + "] already"});
  };
  PermittedLists lists(config);
  for (const auto& [vrf, families] : config.vrfs) {
    for (const auto& [af, settings] : families) {
      const FamilyJudge judge{settings, af, familyPath(vrf, af), lists, findings};
      for (const auto& [name, value] : settings.interfaces) {
        claim(name, vrf, judge.interfacePath(name));
      }
      for (const auto& [name, value] : settings.bsrCandidates) {
        claim(name, vrf, judge.bsrCandidatePath(name));
      }
      for (const auto& [name, value] : settings.rpCandidates) {
        claim(name, vrf, judge.rpCandidatePath(name));
      }
    }
  }
}

void judgePresence(const DaemonConfig& config, Findings& findings) {
  for (const auto& [vrf, families] : config.vrfs) {
    for (const auto& [af, settings] : families) {
      if (!settings.interfaces.empty()) return;
    }
  }
  findings.push_back({Severity::warning, 0, "vrf", "PIM runs on no interface"});
}

}  // namespace

Findings judge(const DaemonConfig& config, const std::optional<AddressedInterfaces>& addressed) {
  Findings findings;
  PermittedLists lists(config);
  judgePresence(config, findings);
  judgeInterfaces(config, findings);
  judgeAccessLists(config, findings);
  if (!judgeListUses(config, lists, findings)) return findings;
  for (const auto& [vrf, families] : config.vrfs) {
    for (const auto& [af, settings] : families) {
      FamilyJudge judge{settings, af, familyPath(vrf, af), lists, findings};
      judgeReferences(judge);
      judgeZones(judge);
      judgeTimers(judge);
      judgeFailover(judge);
      judgeCandidates(judge, addressed);
    }
  }
  return findings;
}

}  // namespace Routing::Agent
