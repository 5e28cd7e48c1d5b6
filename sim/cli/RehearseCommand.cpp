#include "sim/cli/RehearseCommand.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <sstream>

#include "sim/rehearsal/Rehearsal.h"
#include "sim/rehearsal/RehearsalJson.h"
#include "sim/rehearsal/RehearsalText.h"
#include "sim/scenario/ScenarioParser.h"
#include "sim/scenario/YamlReader.h"

namespace Routing::Sim {
namespace {

/// The routers in the order in which an option names them.
std::vector<RouterId> namedIn(const std::string& order, const Topology& topology) {
  std::vector<RouterId> routers;
  std::istringstream names(order);
  for (std::string name; std::getline(names, name, ',');) {
    const auto router = topology.routerNamed(name);
    if (!router) throw ScenarioError("--order: there is no router " + name);
    if (std::find(routers.begin(), routers.end(), *router) != routers.end()) {
      throw ScenarioError("--order: " + name + " stands there twice");
    }
    routers.push_back(*router);
  }
  return routers;
}

std::vector<RouterId> changedIn(const RehearsalPlan& plan) {
  std::vector<RouterId> changed;
  for (const auto& [router, config] : plan.after) {
    if (config != plan.network.configs.at(router)) changed.push_back(router);
  }
  return changed;
}

/// Only routers whose files differ take part; each of them must be in the order.
std::vector<std::vector<RouterId>> stepsOf(const Options& options, const RehearsalPlan& plan) {
  const std::vector<RouterId> changed = changedIn(plan);
  if (options.order == "all") return {changed};
  std::vector<RouterId> order = changed;
  if (options.order != "one-by-one") {
    order = namedIn(options.order, plan.network.topology);
    for (const RouterId router : changed) {
      if (std::find(order.begin(), order.end(), router) != order.end()) continue;
      throw ScenarioError("--order: " + plan.network.topology.router(router).name +
                          " has another file and is not named");
    }
  }
  std::vector<std::vector<RouterId>> steps;
  for (const RouterId router : order) {
    const bool differs = std::find(changed.begin(), changed.end(), router) != changed.end();
    if (differs) steps.push_back({router});
  }
  return steps;
}

RehearsalPlan planOf(const Options& options) {
  RehearsalPlan plan;
  plan.network = readNetwork(options.files.front(), options.configs);
  plan.after = readConfigs(plan.network.topology, options.to, plan.network.configs);
  plan.steps = stepsOf(options, plan);
  plan.pause = options.pause;
  plan.seed = options.firstSeed;
  return plan;
}

std::vector<RehearsalOutcome> playAll(const Options& options, const RehearsalPlan& plan) {
  std::vector<RehearsalOutcome> outcomes{rehearse(plan, std::nullopt)};
  const auto routers = static_cast<RouterId>(plan.network.topology.routers().size());
  for (RouterId id = 0; options.failEach && id < routers; ++id) {
    outcomes.push_back(rehearse(plan, id));
  }
  return outcomes;
}

bool write(const std::string& file, const std::string& text) {
  std::ofstream out(file);
  out << text;
  if (!out.flush()) std::cerr << "pimbsr-sim: cannot write " << file << "\n";
  return static_cast<bool>(out);
}

/// Repeats the first run that is bad, or else that with all routers, for its page.
std::string pageOf(RehearsalPlan plan, const std::vector<RehearsalOutcome>& outcomes) {
  const auto bad = std::find_if(outcomes.begin(), outcomes.end(),
                                [](const RehearsalOutcome& outcome) { return outcome.bad(); });
  const RehearsalOutcome& telling = bad == outcomes.end() ? outcomes.front() : *bad;
  plan.network.text = verdictOf(plan.network.topology, {telling});
  std::string page;
  rehearse(plan, telling.dead, &page);
  return page;
}

}  // namespace

int rehearseCommand(const Options& options) {
  const RehearsalPlan plan = planOf(options);
  const auto outcomes = playAll(options, plan);
  std::cout << verdictOf(plan.network.topology, outcomes) << "\n";
  writeOutcomes(std::cout, plan.network.topology, outcomes);
  bool good = std::none_of(outcomes.begin(), outcomes.end(),
                           [](const RehearsalOutcome& outcome) { return outcome.bad(); });
  if (!options.jsonFile.empty()) {
    good &= write(options.jsonFile, rehearsalJson(plan.network.topology, outcomes));
  }
  if (!options.html.empty()) good &= write(options.html, pageOf(plan, outcomes));
  return good ? 0 : 1;
}

}  // namespace Routing::Sim
