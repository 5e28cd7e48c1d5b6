#include "config/judge/Judge.h"

namespace Routing::Agent {
namespace {

/// IPv6's 128 is the library's mark for a length that is not set.
constexpr std::uint32_t longestHashMask(AddressFamily af) {
  return af == AddressFamily::ipv4 ? 32 : 127;
}

void judgeGroup(FamilyJudge& judge, const std::string& path, const IpGenPrefix& group) {
  const IpGenPrefix all = IpGenPrefix::multicast(judge.af);
  if (all.contains(group)) return;
  const bool foreign = group.af() != judge.af;
  judge.error(path, foreign ? "not of the family (allowed: prefixes within " + all.text() + ')'
                            : "no multicast groups (allowed: prefixes within " + all.text() + ')');
}

void judgeList(FamilyJudge& judge, const std::string& path, const std::string& name) {
  if (judge.lists.find(judge.af, name) != nullptr) return;
  judge.error(path, "there is no access list of this name and family");
}

void judgeHashMask(FamilyJudge& judge, const std::string& path, const ZoneSettings& zone) {
  const std::uint32_t longest = longestHashMask(judge.af);
  if (zone.hashMaskLen <= longest) return;
  judge.error(path + "/hash-mask-length", "invalid value \"" + std::to_string(zone.hashMaskLen) +
                                              "\" (allowed: 0.." + std::to_string(longest) +
                                              " in " + familyName(judge.af) + ')');
}

void judgeBorder(FamilyJudge& judge, const std::string& path, const BorderSettings& border) {
  for (const IpGenPrefix& group : border.groups) {
    judgeGroup(judge, entryPath(path, "group", group.text()), group);
  }
  for (const std::string& name : border.accessLists) {
    judgeList(judge, entryPath(path, "access-list", name), name);
  }
}

void judgeZoneGroups(FamilyJudge& judge, const std::string& path,
                     const BsrInterfaceSettings& candidate) {
  for (const auto& [group, settings] : candidate.zones) {
    const std::string where = entryPath(path, "zone", group.text());
    judgeGroup(judge, where, group);
    judgeHashMask(judge, where, settings);
  }
  for (const auto& [name, settings] : candidate.accessLists) {
    const std::string where = entryPath(path, "access-list", name);
    judgeList(judge, where, name);
    judgeHashMask(judge, where, settings);
  }
}

void judgeRangeGroups(FamilyJudge& judge, const std::string& path,
                      const RpInterfaceSettings& candidate) {
  for (const auto& [group, priority] : candidate.ranges) {
    judgeGroup(judge, entryPath(path, "range", group.text()), group);
  }
  for (const auto& [name, priority] : candidate.accessLists) {
    judgeList(judge, entryPath(path, "access-list", name), name);
  }
}

}  // namespace

void judgeReferences(FamilyJudge& judge) {
  for (const auto& [name, interface] : judge.settings.interfaces) {
    judgeBorder(judge, judge.interfacePath(name) + "/bsr-border", interface.border);
    for (const std::string& list : interface.neighborFilter) {
      judgeList(judge, entryPath(judge.interfacePath(name), "neighbor-filter", list), list);
    }
  }
  for (const auto& [name, candidate] : judge.settings.bsrCandidates) {
    judgeZoneGroups(judge, judge.bsrCandidatePath(name), candidate);
  }
  for (const auto& [name, candidate] : judge.settings.rpCandidates) {
    judgeRangeGroups(judge, judge.rpCandidatePath(name), candidate);
  }
  for (const std::string& name : judge.settings.rpFilter) {
    judgeList(judge, entryPath(judge.bsrPath(), "rp-filter", name), name);
  }
}

}  // namespace Routing::Agent
