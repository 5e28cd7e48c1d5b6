#include "sim/scenario/ParseConfig.h"

#include <algorithm>
#include <map>
#include <numeric>

#include "sim/core/Configs.h"

namespace Routing::Sim {
namespace {

std::vector<RouterId> routersIn(const YamlValue& value, const Topology& topology) {
  std::vector<RouterId> routers = routersNamed(value, topology);
  if (!routers.empty()) return routers;
  routers.resize(topology.routers().size());
  std::iota(routers.begin(), routers.end(), RouterId{0});
  return routers;
}

void requireFamily(const YamlValue& value, AddressFamily af, const Scenario& scenario) {
  const auto& spoken = scenario.families;
  if (std::find(spoken.begin(), spoken.end(), af) == spoken.end()) {
    value.fail("this address family is not among the families of the scenario");
  }
}

IpGenAddr following(const IpGenAddr& first, std::uint32_t number) {
  return first.af() == AddressFamily::ipv4 ? IpGenAddr::v4(first.v4Value() + number)
                                           : IpGenAddr::v6(first.upper(), first.lower() + number);
}

}  // namespace

AddressFamily parseFamily(const YamlValue& value) {
  if (value.text() == "ipv4") return AddressFamily::ipv4;
  if (value.text() == "ipv6") return AddressFamily::ipv6;
  value.fail("\"" + value.text() + "\" is neither ipv4 nor ipv6");
}

ConfigEdit parseConfigEdit(const YamlValue& value, const Scenario& scenario) {
  YamlMap map(value);
  ConfigEdit edit;
  edit.routers = routersIn(map.need("router"), scenario.topology);
  std::vector<AddressFamily> families = scenario.families;
  if (const auto family = map.get("address-family")) {
    families = {parseFamily(*family)};
    requireFamily(*family, families.front(), scenario);
  }
  edit.pieces = configPieces(map, families);
  return edit;
}

std::vector<AddressEdit> parseAddressEdits(const YamlValue& value, const Scenario& scenario) {
  YamlMap map(value);
  const RouterId router = routerNamed(map.need("router"), scenario.topology);
  const auto intf = map.get("interface");
  const YamlValue to = map.need("to");
  map.done();
  const std::vector<std::string> names = intf ? namesIn(*intf) : std::vector<std::string>{"lo"};
  std::vector<AddressEdit> edits;
  const auto add = [&](AddressFamily af, const IpGenAddr& first) {
    for (std::uint32_t i = 0; i < names.size(); ++i) {
      edits.push_back(
          {router, af, IntfId(names[i]), first.isUnset() ? first : following(first, i)});
    }
  };
  if (!to.isList() && to.text() == "none") {
    for (const AddressFamily af : scenario.families) add(af, {});
    return edits;
  }
  for (const YamlValue& one : to.list()) {
    requireFamily(one, one.address().af(), scenario);
    add(one.address().af(), one.address());
  }
  return edits;
}

// Routers of which the same is said share the work.
void parseConfiguration(const std::vector<YamlValue>& items, Scenario& scenario) {
  scenario.files.assign(scenario.topology.routers().size(), {scenario.families, scenario.file});
  for (const YamlValue& item : items) {
    const ConfigEdit edit = parseConfigEdit(item, scenario);
    for (const RouterId router : edit.routers) scenario.files[router].take(edit.pieces);
  }
  std::map<RouterFile, Agent::DaemonConfig> known;
  for (RouterId id = 0; id < scenario.files.size(); ++id) {
    const RouterFile& file = scenario.files[id];
    auto config = known.find(file);
    if (config == known.end()) {
      config = known.emplace(file, file.config()).first;
    }
    scenario.configs[id] = onAllNetworks(config->second, scenario.topology, id, scenario.families);
  }
}

}  // namespace Routing::Sim
