#include "sim/scenario/ScenarioRun.h"

#include <algorithm>

#include "platform/entity/Assertion.h"
#include "sim/invariants/Quiet.h"

namespace Routing::Sim {
namespace {

constexpr double margin = 70.0;  // seconds in which something happens that makes the rules look
constexpr double mostRests = 4;  // settling times that are waited for at the most

}  // namespace

ScenarioRun::ScenarioRun(const Scenario& scenario, const RunOptions& options)
    : scenario_(scenario),
      options_(options),
      world_(scenario.topology,
             {options.seed, scenario.families, scenario.convergence, scenario.policy}),
      beliefs_(world_),
      digest_(world_),
      invariants_(world_, beliefs_, options.promise),
      control_(world_, scenario.files) {
  assertionHandlerIs(throwOnAssertion);
  configure();
  boot();
  schedule();
  if (options.faults) faults_.emplace(control_, options.seed, scenario.duration);
}

void ScenarioRun::configure() {
  for (const auto& [router, config] : scenario_.configs) world_.configIs(router, config);
  for (const AddressEdit& edit : scenario_.addresses) control_.addressIs(edit);
}

void ScenarioRun::boot() {
  for (RouterId id = 0; id < world_.topology().routers().size(); ++id) {
    const auto& late = scenario_.late;
    if (std::find(late.begin(), late.end(), id) != late.end()) continue;
    world_.at(scenario_.bootSpread * world_.random().uniform(),
              [this, id] { control_.start(id, World::Memory::kept); });
  }
}

void ScenarioRun::schedule() {
  for (const Action& action : scenario_.actions) {
    const double delay = action.spread > 0 ? action.spread * world_.random().uniform() : 0.0;
    world_.at(action.at + delay, [this, &action] { action.run(control_); });
  }
  for (const Expectation& expectation : scenario_.expectations) {
    world_.at(expectation.at, [this, &expectation] {
      const bool quiet = world_.now() - world_.lastDisturbance() >= settlingTimes(world_).rpSet;
      if (options_.faults && !quiet) {
        ++skipped_;
      } else {
        judge(expectation);
      }
    });
  }
}

// A network that loses packets by itself never comes to rest; then enough is enough.
void ScenarioRun::comeToRest() {
  const double settling = settlingTimes(world_).rpSet + margin;
  const double latest = scenario_.duration + mostRests * settling;
  double end = scenario_.duration + settling;
  while (!world_.stopped() && world_.now() < end) {
    world_.runUntil(end);
    end = std::min(world_.lastDisturbance() + settling, latest);
  }
}

void ScenarioRun::run() {
  world_.runUntil(std::min(scenario_.duration, options_.until.value_or(scenario_.duration)));
  if (options_.until || world_.stopped()) return;
  if (options_.faults) comeToRest();
  for (const Expectation& expectation : scenario_.finally) {
    if (!world_.stopped()) judge(expectation);
  }
}

void ScenarioRun::judge(const Expectation& expectation) {
  ++judged_;
  const auto wrong = expectation.check(world_, beliefs_);
  if (!wrong) return;
  disappointments_.push_back({world_.now(), expectation.text, *wrong});
  world_.stop();
}

}  // namespace Routing::Sim
