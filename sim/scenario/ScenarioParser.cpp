#include "sim/scenario/ScenarioParser.h"

#include <fstream>
#include <sstream>
#include <utility>

#include "sim/scenario/ParseConfig.h"
#include "sim/scenario/ParseScript.h"
#include "sim/scenario/ParseTopology.h"

namespace Routing::Sim {
namespace {

void parseTimers(const YamlValue& value, Scenario& scenario) {
  YamlMap timers(value);
  if (const auto boot = timers.get("boot")) scenario.bootSpread = boot->number(0, 1e6);
  if (const auto lag = timers.get("convergence")) scenario.convergence = lag->number(0, 1e6);
  timers.done();
}

/// "none", or what differs from all of it.
Pim::Bsr::BsrPolicy policyOf(const YamlValue& value) {
  if (!value.isMap()) {
    if (value.text() != "none") value.fail("a policy is none, or says what differs from all of it");
    return {};
  }
  auto policy = Pim::Bsr::BsrPolicy::continuous();
  YamlMap map(value);
  const std::pair<const char*, bool Pim::Bsr::BsrPolicy::*> switches[] = {
      {"bridging", &Pim::Bsr::BsrPolicy::bridging},
      {"expiry", &Pim::Bsr::BsrPolicy::expiry},
      {"prime-after-hello", &Pim::Bsr::BsrPolicy::primeAfterHello},
      {"until-heard", &Pim::Bsr::BsrPolicy::untilHeard},
      {"early-view", &Pim::Bsr::BsrPolicy::earlyView},
      {"hand-over", &Pim::Bsr::BsrPolicy::handOver},
      {"announced-view", &Pim::Bsr::BsrPolicy::announcedView},
      {"lapsing-office", &Pim::Bsr::BsrPolicy::lapsingOffice},
      {"withdraw-twice", &Pim::Bsr::BsrPolicy::withdrawTwice}};
  for (const auto& [key, choice] : switches) {
    if (const auto v = map.get(key)) policy.*choice = v->yes();
  }
  if (const auto v = map.get("answers")) policy.answers = v->whole(0, UINT32_MAX);
  if (const auto v = map.get("priming-wait")) policy.primingWait = v->whole(0, 3600);
  map.done();
  return policy;
}

Scenario parse(const YamlValue& root) {
  YamlMap map(root);
  Scenario scenario;
  scenario.file = root.file();
  scenario.name = map.need("name").text();
  if (const auto text = map.get("text")) scenario.text = text->text();
  if (const auto families = map.get("families")) {
    scenario.families.clear();
    for (const YamlValue& family : families->list())
      scenario.families.push_back(parseFamily(family));
  }
  if (const auto policy = map.get("policy")) scenario.policy = policyOf(*policy);
  parseTopology(map.need("topology"), scenario.topology);
  if (const auto timers = map.get("timers")) parseTimers(*timers, scenario);
  if (const auto addresses = map.get("addresses")) {
    for (const YamlValue& item : addresses->list()) {
      const auto edits = parseAddressEdits(item, scenario);
      scenario.addresses.insert(scenario.addresses.end(), edits.begin(), edits.end());
    }
  }
  const auto configured = map.get("configuration");
  parseConfiguration(configured ? configured->list() : std::vector<YamlValue>{}, scenario);
  scenario.duration = map.need("run").number(1, 1e7);
  if (const auto late = map.get("late")) {
    for (const YamlValue& name : late->list()) {
      scenario.late.push_back(routerNamed(name, scenario.topology));
    }
  }
  if (const auto script = map.get("script")) parseScript(*script, scenario);
  if (const auto finally = map.get("finally")) parseFinally(*finally, scenario);
  map.done();
  return scenario;
}

}  // namespace

Scenario parseScenario(const std::string& text, const std::string& name) {
  return parse(readYamlText(text, name));
}

Scenario readScenario(const std::string& file) {
  std::ifstream in(file);
  if (!in) throw ScenarioError(file + ": cannot be read");
  std::ostringstream text;
  text << in.rdbuf();
  return parseScenario(text.str(), file);
}

}  // namespace Routing::Sim
