#include "config/judge/Judge.h"
#include "platform/pim/rp/RpSelection.h"

namespace Routing::Agent {
namespace {

using Addressed = std::optional<AddressedInterfaces>;

void judgePlace(FamilyJudge& judge, const Addressed& addressed, const std::string& path,
                const std::string& interface) {
  if (!judge.settings.interfaces.contains(interface)) {
    judge.inform(path, "PIM does not run on this interface; only its address is used");
  }
  if (addressed && !addressed->contains({interface, judge.af})) {
    judge.warn(path, std::string("the interface has no address of ") + familyName(judge.af) +
                         "; there is no candidate until it has one");
  }
}

void judgeGroupList(FamilyJudge& judge, const std::string& path, const std::string& name) {
  const AclPrefixes* list = judge.lists.find(judge.af, name);
  if (list != nullptr && list->group.empty()) judge.warn(path, "the list permits no group");
}

template <class Lists>
void judgeGroupLists(FamilyJudge& judge, const std::string& path, const Lists& lists) {
  for (const auto& [name, settings] : lists) {
    judgeGroupList(judge, entryPath(path, "access-list", name), name);
  }
}

void judgeBsrCandidate(FamilyJudge& judge, const std::string& path,
                       const BsrInterfaceSettings& candidate) {
  judgeGroupLists(judge, path, candidate.accessLists);
  if (candidate.zones.empty() && candidate.accessLists.empty()) {
    judge.warn(path, "no zone and no access list: this is no candidate");
  }
}

void judgePriority(FamilyJudge& judge, const std::string& path, const RangePriority& priority) {
  if (priority.given) return;
  judge.inform(path, "no priority given; taken as " + std::to_string(priority.value));
}

/// Ranges of which no group is served by an RP, whoever offers to.
void judgeServed(FamilyJudge& judge, const std::string& path, const IpGenPrefix& range) {
  const Pim::RpRule rule = Pim::ruleOfRange(range);
  if (rule == Pim::RpRule::notCovered) return;
  judge.warn(path,
             "range " + range.text() + " serves nobody: " + std::string(Pim::rpRuleText(rule)));
}

/// Group ranges to which two settings give different priorities.
void judgeRanges(FamilyJudge& judge, const std::string& path,
                 const RpInterfaceSettings& candidate) {
  std::map<IpGenPrefix, std::pair<std::string, RangePriority>> given;
  const auto give = [&](const IpGenPrefix& range, const std::string& where,
                        const RangePriority& priority) {
    const auto [found, isNew] = given.emplace(range, std::pair(where, priority));
    if (isNew || found->second.second == priority) return;
    judge.warn(where, "range " + range.text() + " has another priority at " + found->second.first +
                          "; the last access list by name holds");
  };
  for (const auto& [range, priority] : candidate.ranges) {
    const std::string where = entryPath(path, "range", range.text());
    give(range, where, priority);
    judgeServed(judge, where, range);
  }
  for (const auto& [name, priority] : candidate.accessLists) {
    const AclPrefixes* list = judge.lists.find(judge.af, name);
    if (list == nullptr) continue;
    const std::string where = entryPath(path, "access-list", name);
    for (const IpGenPrefix& range : list->group) {
      give(range, where, priority);
      judgeServed(judge, where, range);
    }
  }
}

void judgeRpCandidate(FamilyJudge& judge, const std::string& path,
                      const RpInterfaceSettings& candidate) {
  for (const auto& [range, priority] : candidate.ranges) {
    judgePriority(judge, entryPath(path, "range", range.text()), priority);
  }
  for (const auto& [name, priority] : candidate.accessLists) {
    judgePriority(judge, entryPath(path, "access-list", name), priority);
  }
  judgeGroupLists(judge, path, candidate.accessLists);
  judgeRanges(judge, path, candidate);
  if (candidate.ranges.empty() && candidate.accessLists.empty()) {
    judge.warn(path, "no range and no access list: this is no candidate");
  }
}

void judgeFilter(FamilyJudge& judge) {
  std::set<std::string> empty;
  for (const std::string& name : judge.settings.rpFilter) {
    const AclPrefixes* list = judge.lists.find(judge.af, name);
    if (list != nullptr && list->unicast.empty()) empty.insert(name);
  }
  const bool open = empty.size() == judge.settings.rpFilter.size();
  for (const std::string& name : empty) {
    judge.warn(entryPath(judge.bsrPath(), "rp-filter", name),
               open ? "the list permits no RP address, which filters nothing: every RP is accepted"
                    : "the list permits no RP address");
  }
}

void judgeNeighborFilter(FamilyJudge& judge, const std::string& interface,
                         const std::set<std::string>& names) {
  for (const std::string& name : names) {
    const AclPrefixes* list = judge.lists.find(judge.af, name);
    if (list == nullptr || !list->unicast.empty()) continue;
    judge.warn(entryPath(judge.interfacePath(interface), "neighbor-filter", name),
               "the list permits no neighbour");
  }
}

}  // namespace

void judgeCandidates(FamilyJudge& judge, const Addressed& addressed) {
  for (const auto& [interface, settings] : judge.settings.interfaces) {
    for (const std::string& name : settings.border.accessLists) {
      const std::string border = judge.interfacePath(interface) + "/bsr-border";
      judgeGroupList(judge, entryPath(border, "access-list", name), name);
    }
    judgeNeighborFilter(judge, interface, settings.neighborFilter);
  }
  for (const auto& [interface, candidate] : judge.settings.bsrCandidates) {
    const std::string path = judge.bsrCandidatePath(interface);
    judgePlace(judge, addressed, path, interface);
    judgeBsrCandidate(judge, path, candidate);
  }
  for (const auto& [interface, candidate] : judge.settings.rpCandidates) {
    const std::string path = judge.rpCandidatePath(interface);
    judgePlace(judge, addressed, path, interface);
    judgeRpCandidate(judge, path, candidate);
  }
  judgeFilter(judge);
}

}  // namespace Routing::Agent
