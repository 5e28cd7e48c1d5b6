#include "sim/invariants/StatusRules.h"

#include <algorithm>
#include <memory>
#include <queue>
#include <set>
#include <utility>
#include <vector>

#include "sim/invariants/Invariant.h"

namespace Routing::Sim {
namespace {

// --- no errors -------------------------------------------------------------------------------

/// No event ends in an exception or a failed assertion, whatever was received.
class NoErrors final : public Invariant {
 public:
  NoErrors(World& world, std::vector<Violation>& violations)
      : Invariant("no errors", world, violations) {}
  void broken(std::string_view what) override { violated(std::string(what)); }
};

// --- RPs expire ------------------------------------------------------------------------------

constexpr double tolerance = 1e-6;  // for sums of instants

/// No RP stays in PIM's view beyond its hold time, on any router: none whose expiry has passed,
/// none whose expiry lies further away than its hold time allows, and none that no zone knows of.
class RpsExpire final : public Invariant {
 public:
  RpsExpire(World& world, std::vector<Violation>& violations)
      : Invariant("RPs expire", world, violations),
        first_(world.topology().routers().size(), never),
        dueAt_(first_.size(), never) {}
  void settled(const std::vector<RouterId>& touched) override;

 private:
  struct Due {
    double instant;
    RouterId router;
    bool operator>(const Due& other) const { return instant > other.instant; }
  };
  void look(RouterId router);
  void expect(RouterId router);
  /// Returns the first expiry among the router's RPs.
  double check(RouterId router);
  void findSources(const Speaker& speaker, const IpGenPrefix& range);
  void judge(RouterId router, const Speaker& speaker, const Pim::RpCandidateSet& range,
             const Pim::RpEntry& rp);
  bool known(const Pim::RpEntry& rp) const;

  std::vector<const Pim::RpCandidateSet*> sources_;  // what zones know of the range at hand
  std::vector<double> first_;  // expiry among each router's RPs when it was looked at last
  std::vector<double> dueAt_;  // of each router's next turn in the queue, not after that
  std::priority_queue<Due, std::vector<Due>, std::greater<>> due_;
};

void RpsExpire::settled(const std::vector<RouterId>& touched) {
  for (const RouterId router : touched) look(router);
  std::set<RouterId> late;
  while (!due_.empty() && due_.top().instant < world().instant()) {
    const Due due = due_.top();
    due_.pop();
    if (due.instant == dueAt_[due.router]) late.insert(due.router);
  }
  for (const RouterId router : late) {
    dueAt_[router] = never;
    first_[router] < world().instant() ? look(router) : expect(router);
  }
}

void RpsExpire::look(RouterId router) {
  first_[router] = check(router);
  expect(router);
}

// What has been refreshed since is looked at when that runs out.
void RpsExpire::expect(RouterId router) {
  if (first_[router] >= dueAt_[router]) return;
  dueAt_[router] = first_[router];
  due_.push({first_[router], router});
}

double RpsExpire::check(RouterId router) {
  double first = never;
  for (const AddressFamily af : world().families()) {
    const Speaker& speaker = world().speaker(router, af);
    if (!speaker.running()) continue;
    for (const auto& [prefix, range] : speaker.view()->crpSet()) {
      findSources(speaker, prefix);
      for (const auto& [address, rp] : range->rp()) {
        judge(router, speaker, *range, *rp);
        first = std::min(first, rp->expiryTime());
      }
    }
  }
  return first;
}

void RpsExpire::findSources(const Speaker& speaker, const IpGenPrefix& range) {
  sources_.clear();
  for (const auto& [zone, rpSets] : speaker.status()->crpStatus()) {
    if (!zone.contains(range) || !rpSets->status()) continue;
    if (const auto& set = rpSets->status()->crpSet(range)) sources_.push_back(set.get());
  }
}

void RpsExpire::judge(RouterId router, const Speaker& speaker, const Pim::RpCandidateSet& range,
                      const Pim::RpEntry& rp) {
  const double now = world().instant();
  // A withdrawn RP is kept for its old hold time at most, and three periods may exceed the field.
  constexpr double longestHold = 3.0 * 21845;
  const double hold = rp.holdTime().value();
  const double most = hold > 0 && hold < 65535 ? hold : longestHold;
  const auto broken = [&](const std::string& how) {
    violated(nameOf(router) + ": RP " + rp.address().text() + " of " + range.prefix().text() + how);
  };
  const bool justStarted = speaker.startedAt() == now;  // what expired meanwhile goes at once
  if (rp.expiryTime() < now && !justStarted) {
    broken(" outlives its hold time by " + std::to_string(now - rp.expiryTime()) + " s");
  } else if (rp.expiryTime() > now + most + tolerance) {
    broken(" would outlive its hold time");
  } else if (!known(rp)) {
    broken(" belongs to no zone");
  }
}

bool RpsExpire::known(const Pim::RpEntry& rp) const {
  return std::ranges::any_of(sources_, [&](const Pim::RpCandidateSet* set) {
    const auto& source = set->rp(rp.address());
    return source && source->expiryTime() == rp.expiryTime();
  });
}

// --- memory bounded --------------------------------------------------------------------------

constexpr double interval = 10.0;                 // seconds
constexpr std::size_t packetsPerRouter = 10'000;  // on their way at once
constexpr std::size_t timersPerThing = 4;         // zone, range or RP that a router holds
constexpr std::size_t timersPerRouter = 200;      // neighbours, Hellos, candidacies, fragments

/// What others can make a router hold stays within its limits, and neither timers nor packets pile
/// up. Looked at every few seconds, where something has changed.
class MemoryBounded final : public Invariant {
 public:
  MemoryBounded(World& world, std::vector<Violation>& violations)
      : Invariant("memory bounded", world, violations),
        isChanged_(world.topology().routers().size()),
        held_(world.topology().routers().size()) {}
  void settled(const std::vector<RouterId>& touched) override;

 private:
  void count();
  /// Returns the number of zones, ranges and RPs that the router holds.
  std::size_t check(RouterId router, const Speaker& speaker);

  double lookedAt_ = 0.0;
  std::vector<RouterId> changed_;  // since then
  std::vector<bool> isChanged_;
  std::vector<std::size_t> held_;  // things, by router
  std::size_t things_ = 0;         // of all
};

void MemoryBounded::settled(const std::vector<RouterId>& touched) {
  for (const RouterId router : touched) {
    if (!isChanged_[router]) changed_.push_back(router);
    isChanged_[router] = true;
  }
  if (world().now() - lookedAt_ < interval) return;
  lookedAt_ = world().now();
  const std::size_t routers = held_.size();
  if (world().inFlight() > packetsPerRouter * routers) {
    violated(std::to_string(world().inFlight()) + " packets are under way");
  }
  count();
  if (world().wheel().armed() > timersPerThing * things_ + timersPerRouter * routers) {
    violated(std::to_string(world().wheel().armed()) + " timers are armed");
  }
}

void MemoryBounded::count() {
  for (const RouterId router : changed_) {
    isChanged_[router] = false;
    things_ -= std::exchange(held_[router], 0);
    for (const AddressFamily af : world().families()) {
      held_[router] += check(router, world().speaker(router, af));
    }
    things_ += held_[router];
  }
  changed_.clear();
}

std::size_t MemoryBounded::check(RouterId router, const Speaker& speaker) {
  const Pim::Bsr::PimBsrLimits& limits = *speaker.limits();
  std::size_t groups = 0;
  std::size_t rps = 0;
  for (const auto& [zone, rpSets] : speaker.status()->crpStatus()) {
    if (!rpSets->status()) continue;
    groups += rpSets->status()->crpSet().size();
    for (const auto& [range, set] : rpSets->status()->crpSet()) rps += set->rp().size();
  }
  const std::size_t zones = speaker.status()->bootstrapRouter().size();
  const std::size_t own = speaker.duties().zones.size() + 1;  // and the global zone
  if (groups > limits.maxGroups() || rps > limits.maxRps() || zones > limits.maxZones() + own) {
    violated(nameOf(router) + " holds " + std::to_string(zones) + " zones, " +
             std::to_string(groups) + " ranges and " + std::to_string(rps) + " RPs");
  }
  return zones + groups + rps;
}

}  // namespace

void addStatusRules(World& world, std::vector<Violation>& violations, Invariants& rules) {
  rules.push_back(std::make_unique<NoErrors>(world, violations));
  rules.push_back(std::make_unique<RpsExpire>(world, violations));
  rules.push_back(std::make_unique<MemoryBounded>(world, violations));
}

}  // namespace Routing::Sim
