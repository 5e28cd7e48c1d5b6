#include "sim/rehearsal/RangeOutcomes.h"

#include <algorithm>
#include <map>

namespace Routing::Sim {
namespace {

using Moment = RpHistory::Moment;
using Moments = RpHistory::Moments;

constexpr double flood = 1.0;  // seconds in which a change may reach some before others

/// The longest time without an RP, up to an end; 0 if there was none.
double longestWithout(const Moments& moments, double end) {
  double longest = 0.0;
  for (std::size_t i = 0; i < moments.size(); ++i) {
    if (!moments[i].rp.isUnset()) continue;
    std::size_t next = i;
    while (next < moments.size() && moments[next].rp.isUnset()) ++next;
    longest = std::max(longest, (next < moments.size() ? moments[next].at : end) - moments[i].at);
    i = next;
  }
  return longest;
}

/// Whether routers of one place have chosen different RPs.
bool differ(const std::map<RouterId, const Moment*>& held) {
  std::map<std::uint32_t, IpGenAddr> first;
  return std::any_of(held.begin(), held.end(), [&](const auto& entry) {
    const Moment& moment = *entry.second;
    return !moment.rp.isUnset() &&
           first.try_emplace(moment.place, moment.rp).first->second != moment.rp;
  });
}

/// The longest time in which routers chose differently for a group.
double longestDisagreement(const RpHistory& history, std::size_t group, RouterId routers,
                           double end) {
  std::multimap<double, std::pair<RouterId, const Moment*>> changes;
  for (RouterId id = 0; id < routers; ++id) {
    for (const Moment& moment : history.of(id, group)) {
      changes.emplace(moment.at, std::pair(id, &moment));
    }
  }
  std::map<RouterId, const Moment*> held;
  double longest = 0.0;
  double since = end;  // of the present disagreement
  for (auto change = changes.begin(); change != changes.end();) {
    const double at = change->first;
    for (; change != changes.end() && change->first == at; ++change) {
      held[change->second.first] = change->second.second;
    }
    if (differ(held)) {
      since = std::min(since, at);
    } else {
      longest = std::max(longest, at - since);
      since = end;
    }
  }
  return std::max(longest, end - since);
}

/// The routers that are up and stand as candidate RPs for a group.
std::set<RouterId> candidatesFor(const World& world, const IpGenAddr& group, RouterId routers) {
  std::set<RouterId> candidates;
  for (RouterId id = 0; id < routers; ++id) {
    if (!world.up(id)) continue;
    for (const auto& [address, rp] : world.speaker(id, group.af()).duties().rps) {
      const bool stands = std::any_of(rp.ranges.begin(), rp.ranges.end(), [&](const auto& range) {
        return range.first.contains(group);
      });
      if (stands) candidates.insert(id);
    }
  }
  return candidates;
}

void addRouter(RangeOutcome& outcome, RouterId router, const Moments& moments, bool served,
               double end) {
  const IpGenAddr& before = moments.front().rp;
  const IpGenAddr& after = moments.back().rp;
  if (!before.isUnset()) outcome.before.insert(before);
  if (!after.isUnset()) outcome.after.insert(after);
  const double without = longestWithout(moments, end);
  if (before.isUnset() || without == 0.0) return;
  if (after.isUnset() && !served) {
    outcome.withdrawn.insert(router);
    return;
  }
  if (after.isUnset()) outcome.lost.insert(router);
  double& longest = outcome.without[router];
  longest = std::max(longest, without);
}

}  // namespace

void addRangeOutcomes(const World& world, const RpHistory& history,
                      std::vector<RangeOutcome>& outcomes) {
  const auto routers = static_cast<RouterId>(world.topology().routers().size());
  std::map<IpGenPrefix, RangeOutcome> ranges;
  for (std::size_t group = 0; group < history.groups().size(); ++group) {
    const auto& [range, address] = history.groups()[group];
    RangeOutcome& outcome = ranges[range];
    outcome.range = range;
    const std::set<RouterId> candidates = candidatesFor(world, address, routers);
    outcome.candidates.insert(candidates.begin(), candidates.end());
    for (RouterId id = 0; id < routers; ++id) {
      const Moments& moments = history.of(id, group);
      if (!moments.empty()) addRouter(outcome, id, moments, !candidates.empty(), world.now());
    }
    const double apart = longestDisagreement(history, group, routers, world.now());
    if (apart > flood) outcome.disagreement = std::max(outcome.disagreement, apart);
  }
  for (auto& [range, outcome] : ranges) outcomes.push_back(std::move(outcome));
}

}  // namespace Routing::Sim
