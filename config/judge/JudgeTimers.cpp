#include <algorithm>
#include <limits>

#include "config/judge/Judge.h"

namespace Routing::Agent {
namespace {

/// Every setting of a candidate BSR with its path.
std::map<std::string, ZoneSettings> candidacies(const FamilyJudge& judge) {
  std::map<std::string, ZoneSettings> result;
  for (const auto& [interface, candidate] : judge.settings.bsrCandidates) {
    const std::string path = judge.bsrCandidatePath(interface);
    for (const auto& [zone, settings] : candidate.zones) {
      result.emplace(entryPath(path, "zone", zone.text()), settings);
    }
    for (const auto& [name, settings] : candidate.accessLists) {
      result.emplace(entryPath(path, "access-list", name), settings);
    }
  }
  return result;
}

void judgeInterval(FamilyJudge& judge, const std::string& path, std::uint32_t interval) {
  constexpr std::uint32_t longestWithRps = 65535 / 3;
  const std::uint32_t hold = judge.settings.holdTime;
  const std::string holdText = "hold-time " + std::to_string(hold);
  if (hold <= interval) {
    judge.warn(path, holdText + " is over before the next Bootstrap message, " +
                         std::to_string(interval) + " seconds later");
  } else if (hold < 2 * std::uint64_t{interval} + 10) {
    judge.warn(path, holdText + " bears no lost Bootstrap message (RFC 5059 section 5: 2 x " +
                         std::to_string(interval) + " + 10)");
  }
  if (interval > longestWithRps) {
    judge.warn(path, "three intervals do not fit the hold time of an RP, which is 65535 at most");
  }
}

void judgeScopeZoneTimeout(FamilyJudge& judge) {
  const std::uint32_t hold = judge.settings.holdTime;
  const std::uint64_t needed = Pim::Bsr::Config::leastSzTimeout(hold);
  constexpr std::uint32_t longest = std::numeric_limits<std::uint32_t>::max();
  if (needed > longest) {
    judge.warn(judge.bsrPath() + "/hold-time",
               "ten hold times do not fit the scope-zone time-out; " + std::to_string(longest) +
                   " is taken");
  } else if (judge.settings.scopeZoneTimeout < needed) {
    judge.warn(judge.bsrPath() + "/scope-zone-timeout",
               std::to_string(judge.settings.scopeZoneTimeout) +
                   " is less than ten hold times; taken as " + std::to_string(needed));
  }
}

}  // namespace

void judgeTimers(FamilyJudge& judge) {
  const auto all = candidacies(judge);
  for (const auto& [path, settings] : all) judgeInterval(judge, path, settings.interval);
  judgeScopeZoneTimeout(judge);
  const bool hopeless = std::all_of(
      all.begin(), all.end(), [](const auto& candidacy) { return candidacy.second.priority == 0; });
  if (hopeless && !all.empty()) {
    judge.warn(judge.bsrPath() + "/bsr-candidate",
               "every priority is 0, the lowest: any other candidate is preferred");
  }
}

}  // namespace Routing::Agent
