#include "sim/rehearsal/Rehearsal.h"

#include <algorithm>
#include <memory>

#include "sim/core/Configs.h"
#include "sim/core/Drops.h"
#include "sim/invariants/Quiet.h"
#include "sim/rehearsal/RangeOutcomes.h"
#include "sim/report/HtmlReport.h"

namespace Routing::Sim {
namespace {

constexpr double margin = 70.0;  // seconds in which something happens that makes the rules look

using Drops = std::map<RouterId, std::map<std::string, std::uint64_t>>;

RouterId routersOf(const World& world) {
  return static_cast<RouterId>(world.topology().routers().size());
}

Drops dropsIn(const World& world) {
  Drops drops;
  for (RouterId id = 0; id < routersOf(world); ++id) {
    if (!world.up(id)) continue;
    for (const AddressFamily af : world.families()) {
      for (const auto& [reason, count] : dropsOf(world.speaker(id, af))) drops[id][reason] += count;
    }
  }
  return drops;
}

std::vector<DropOutcome> dropsSince(const Drops& before, const World& world) {
  std::map<std::string, DropOutcome> outcomes;
  for (const auto& [router, reasons] : dropsIn(world)) {
    for (const auto& [reason, count] : reasons) {
      const auto known = before.find(router);
      const bool isNew = known == before.end() || !known->second.contains(reason);
      const std::uint64_t was = isNew ? 0 : known->second.at(reason);
      if (count == was) continue;
      DropOutcome& outcome =
          outcomes.try_emplace(reason, DropOutcome{reason, {}, {}}).first->second;
      outcome.counts[router] = count - was;
      if (isNew) outcome.fresh.insert(router);
    }
  }
  std::vector<DropOutcome> drops;
  drops.reserve(outcomes.size());
  for (auto& [reason, outcome] : outcomes) drops.push_back(std::move(outcome));
  return drops;
}

/// The ranges for which routers will stand as candidate RPs.
std::set<IpGenPrefix> rangesOf(const World& world, AddressFamily af,
                               const std::map<RouterId, Agent::DaemonConfig>& after) {
  std::set<IpGenPrefix> ranges;
  for (const auto& [router, config] : after) {
    const Duties duties = world.speaker(router, af).dutiesBy(inFamilies(config, world.families()));
    for (const auto& [address, rp] : duties.rps) {
      for (const auto& [range, priority] : rp.ranges) ranges.insert(range);
    }
  }
  return ranges;
}

/// One run, with all who watch it.
class Stage {
 public:
  Stage(const RehearsalPlan& plan, const Scenario& network, bool recorded)
      : plan_(plan),
        run_(network, {plan.seed, false, std::nullopt, Promise::Broken::isNoted}),
        timeline_(run_.world(), run_.beliefs()) {
    if (recorded) recorder_ = std::make_unique<Recorder>(run_.world(), run_.beliefs());
  }

  RehearsalOutcome play(std::optional<RouterId> dead) {
    World& world = run_.world();
    const double settling = settlingTimes(world).rpSet;
    world.runUntil(settling + margin);
    RehearsalOutcome outcome;
    outcome.dead = dead;
    outcome.began = world.now();
    const Drops before = dropsIn(world);
    watch();
    loadFiles();
    world.runUntil(world.now() + std::max(settling, settlingTimes(world).rpSet) + margin);
    outcome.ended = world.now();
    for (const auto& history : histories_) addRangeOutcomes(world, *history, outcome.ranges);
    outcome.drops = dropsSince(before, world);
    noteElections(outcome);
    noteFaults(outcome);
    return outcome;
  }
  std::string page() const { return htmlReport(run_, timeline_, *recorder_); }

 private:
  void watch() {
    World& world = run_.world();
    for (const AddressFamily af : world.families()) {
      histories_.push_back(
          std::make_unique<RpHistory>(world, run_.beliefs(), af, rangesOf(world, af, plan_.after)));
    }
  }

  void loadFiles() {
    World& world = run_.world();
    for (const auto& routers : plan_.steps) {
      world.at(world.now(), [this, &world, &routers] {
        for (const RouterId id : routers) world.configIs(id, plan_.after.at(id));
      });
      const bool last = &routers == &plan_.steps.back();
      world.runUntil(world.now() + (last ? 0.0 : plan_.pause));
    }
  }

  void noteElections(RehearsalOutcome& outcome) const {
    for (const Happening& happening : timeline_.happenings()) {
      const bool concerns =
          happening.kind == Happening::Kind::election || happening.kind == Happening::Kind::bsr;
      if (concerns && happening.at >= outcome.began) outcome.elections.push_back(happening);
    }
  }

  // What the promises of service say is measured already.
  void noteFaults(RehearsalOutcome& outcome) const {
    for (const Violation& violation : run_.invariants().violations()) {
      if (violation.invariant == "served" || violation.invariant == "alike") continue;
      outcome.faults.push_back(violation);
    }
  }

  const RehearsalPlan& plan_;
  ScenarioRun run_;
  Timeline timeline_;
  std::unique_ptr<Recorder> recorder_;
  std::vector<std::unique_ptr<RpHistory>> histories_;
};

}  // namespace

bool RehearsalOutcome::bad() const {
  return !faults.empty() || std::any_of(ranges.begin(), ranges.end(),
                                        [](const RangeOutcome& range) { return range.broken(); });
}

RehearsalOutcome rehearse(const RehearsalPlan& plan, std::optional<RouterId> dead,
                          std::string* page) {
  Scenario network = plan.network;
  if (dead) network.late.push_back(*dead);
  Stage stage(plan, network, page != nullptr);
  RehearsalOutcome outcome = stage.play(dead);
  if (page != nullptr) *page = stage.page();
  return outcome;
}

}  // namespace Routing::Sim
