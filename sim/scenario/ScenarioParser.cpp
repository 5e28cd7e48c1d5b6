#include "sim/scenario/ScenarioParser.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <utility>

#include "config/file/ConfigFile.h"
#include "sim/core/Configs.h"
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

void parseAddresses(const YamlValue& list, Scenario& scenario) {
  for (const YamlValue& item : list.list()) {
    const auto edits = parseAddressEdits(item, scenario);
    scenario.addresses.insert(scenario.addresses.end(), edits.begin(), edits.end());
  }
}

/// All but its name and what is configured.
void parsePlay(YamlMap& map, Scenario& scenario) {
  if (const auto late = map.get("late")) {
    for (const YamlValue& name : late->list()) {
      scenario.late.push_back(routerNamed(name, scenario.topology));
    }
  }
  if (const auto script = map.get("script")) parseScript(*script, scenario);
  if (const auto finally = map.get("finally")) parseFinally(*finally, scenario);
  map.done();
}

void parseNetwork(YamlMap& map, Scenario& scenario) {
  scenario.file = map.value().file();
  if (const auto families = map.get("families")) {
    scenario.families.clear();
    for (const YamlValue& family : families->list()) {
      scenario.families.push_back(parseFamily(family));
    }
  }
  if (const auto policy = map.get("policy")) scenario.policy = policyOf(*policy);
  parseTopology(map.need("topology"), scenario.topology);
  if (const auto timers = map.get("timers")) parseTimers(*timers, scenario);
}

Scenario parse(const YamlValue& root) {
  YamlMap map(root);
  Scenario scenario;
  scenario.name = map.need("name").text();
  if (const auto text = map.get("text")) scenario.text = text->text();
  parseNetwork(map, scenario);
  if (const auto addresses = map.get("addresses")) parseAddresses(*addresses, scenario);
  const auto configured = map.get("configuration");
  parseConfiguration(configured ? configured->list() : std::vector<YamlValue>{}, scenario);
  scenario.duration = map.need("run").number(1, 1e7);
  parsePlay(map, scenario);
  return scenario;
}

std::string textOf(const std::string& file) {
  std::ifstream in(file);
  if (!in) throw ScenarioError(file + ": cannot be read");
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<AddressFamily> familiesOf(const RouterConfigs& configs) {
  std::set<AddressFamily> families;
  for (const auto& [router, config] : configs) {
    const auto vrf = config.vrfs.find(defaultVrf());
    if (vrf == config.vrfs.end()) continue;
    for (const auto& [af, settings] : vrf->second) families.insert(af);
  }
  return {families.begin(), families.end()};
}

Agent::DaemonConfig readConfigFile(const std::string& file) {
  const Agent::LoadedConfig loaded = Agent::loadConfig(file);
  if (loaded.config) return *loaded.config;
  std::string text;
  for (const Agent::Finding& finding : loaded.findings) {
    if (finding.severity != Agent::Severity::error) continue;
    text += (text.empty() ? "" : "\n") + fileText(file, finding);
  }
  throw ScenarioError(text);
}

/// A file under a misspelt name would be one that nobody loads.
void requireRouters(const Topology& topology, const std::string& directory) {
  if (!std::filesystem::is_directory(directory)) throw ScenarioError(directory + ": no directory");
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    const std::filesystem::path& file = entry.path();
    if (file.extension() != ".yaml" || topology.routerNamed(file.stem().string())) continue;
    throw ScenarioError(file.string() + ": there is no router of this name in the topology");
  }
}

/// Names that differ are taken for a mistake: a router that takes no part would hide it.
void requireLinks(const Topology& topology, RouterId router, const Agent::DaemonConfig& config,
                  const std::string& file) {
  const RouterPlan& plan = topology.router(router);
  std::string names;
  for (const NetworkId network : plan.networks) {
    const std::string& intf = topology.network(network).intfOf(router).text();
    for (const auto& [vrf, families] : config.vrfs) {
      for (const auto& [af, settings] : families) {
        if (settings.interfaces.contains(intf)) return;
      }
    }
    names += (names.empty() ? "" : ", ") + intf;
  }
  if (names.empty()) return;
  throw ScenarioError(file + ": PIM runs on none of the interfaces of the topology (" + names +
                      ")");
}

}  // namespace

Scenario parseScenario(const std::string& text, const std::string& name) {
  return parse(readYamlText(text, name));
}

Scenario readScenario(const std::string& file) {
  return parseScenario(textOf(file), file);
}

RouterConfigs readConfigs(const Topology& topology, const std::string& directory,
                          const RouterConfigs& others) {
  requireRouters(topology, directory);
  RouterConfigs configs = others;
  for (RouterId id = 0; id < topology.routers().size(); ++id) {
    const std::string file = directory + "/" + topology.router(id).name + ".yaml";
    if (others.contains(id) && !std::filesystem::exists(file)) continue;
    configs[id] = readConfigFile(file);
    requireLinks(topology, id, configs[id], file);
  }
  return configs;
}

Scenario readNetwork(const std::string& file, const std::string& directory) {
  YamlMap map(readYamlText(textOf(file), file));
  Scenario scenario;
  const auto name = map.get("name");
  const auto text = map.get("text");
  scenario.name = name ? name->text() : std::filesystem::path(file).stem().string();
  if (text) scenario.text = text->text();
  parseNetwork(map, scenario);
  scenario.configs = readConfigs(scenario.topology, directory);
  if (!map.has("families")) scenario.families = familiesOf(scenario.configs);
  if (scenario.families.empty()) throw ScenarioError(directory + ": PIM runs in no default VRF");
  if (const auto addresses = map.get("addresses")) parseAddresses(*addresses, scenario);
  if (const auto duration = map.get("run")) scenario.duration = duration->number(1, 1e7);
  parsePlay(map, scenario);
  return scenario;
}

}  // namespace Routing::Sim
