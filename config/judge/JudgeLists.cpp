#include "config/judge/Judge.h"

namespace Routing::Agent {
namespace {

/// Empty where nothing is wrong.
std::string faultOf(AddressFamily af, const AclRule& rule) {
  for (const AclAddresses* addresses : {&rule.source, &rule.destination}) {
    const bool foreign = addresses->kind() != AclAddresses::Kind::any && addresses->af() != af;
    if (foreign)
      return std::string("not of the family (allowed: addresses of ") + familyName(af) + ')';
  }
  if (PermittedLists::isTooCostly(rule)) {
    return "the wildcard comes down to too many address ranges (allowed: at most " +
           std::to_string(AclToPrefix::maxIntervals) + ')';
  }
  return "";
}

/// How often every list is named.
using Uses = std::map<std::pair<AddressFamily, std::string>, std::size_t>;

void addUses(Uses& uses, AddressFamily af, const FamilySettings& settings) {
  const auto addNames = [&](const std::set<std::string>& names) {
    for (const std::string& name : names) ++uses[{af, name}];
  };
  const auto addCandidates = [&](const auto& candidates) {
    for (const auto& [interface, candidate] : candidates) {
      for (const auto& [name, value] : candidate.accessLists) ++uses[{af, name}];
    }
  };
  addNames(settings.rpFilter);
  for (const auto& [name, interface] : settings.interfaces) {
    addNames(interface.border.accessLists);
    addNames(interface.neighborFilter);
  }
  addCandidates(settings.bsrCandidates);
  addCandidates(settings.rpCandidates);
}

Uses usesOf(const DaemonConfig& config) {
  Uses uses;
  for (const auto& [vrf, families] : config.vrfs) {
    for (const auto& [af, settings] : families) addUses(uses, af, settings);
  }
  return uses;
}

}  // namespace

void judgeAccessLists(const DaemonConfig& config, Findings& findings) {
  for (const auto& [key, list] : config.accessLists) {
    const std::string path = accessListPath(key);
    bool good = true;
    for (const auto& [sequence, rule] : list.rules) {
      const std::string fault = faultOf(key.first, rule);
      if (fault.empty()) continue;
      good = false;
      findings.push_back(
          {Severity::error, 0, entryPath(path, "rule", std::to_string(sequence)), fault});
    }
    if (!good || !PermittedLists::isTooCostly(list)) continue;
    findings.push_back({Severity::error, 0, path,
                        "too long (allowed: " + std::to_string(PermittedLists::maxRules) +
                            " rules, whose wildcards come down to " +
                            std::to_string(PermittedLists::maxIntervals) + " address ranges)"});
  }
}

bool judgeListUses(const DaemonConfig& config, const PermittedLists& lists, Findings& findings) {
  constexpr auto most = static_cast<double>(PermittedLists::maxOfAll);
  const Uses uses = usesOf(config);
  double all = 0;
  for (const auto& [key, list] : config.accessLists) {
    const auto used = uses.find(key);
    if (used == uses.end()) {
      findings.push_back({Severity::information, 0, accessListPath(key), "nothing uses the list"});
      continue;
    }
    all += PermittedLists::intervals(list);
    const bool isWorkable = all <= most && !PermittedLists::isTooCostly(list);
    if (isWorkable) {
      all += static_cast<double>(used->second) *
             static_cast<double>(lists.count(key.first, key.second));
    }
    if (all <= most) continue;
    findings.push_back({Severity::error, 0, accessListPath(key),
                        "with this list the lists come down to too much (allowed: " +
                            std::to_string(PermittedLists::maxOfAll) +
                            " address ranges and prefixes, the prefixes once for every use)"});
    return false;
  }
  return true;
}

}  // namespace Routing::Agent
