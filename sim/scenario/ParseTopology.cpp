#include "sim/scenario/ParseTopology.h"

#include <algorithm>

namespace Routing::Sim {
namespace {

constexpr std::uint32_t mostRouters = 30'000;
constexpr std::uint32_t mostOnLan = 250;

struct Common {
  Impairment impairment;
  std::uint32_t mtu = 1500;
};

Common parseCommon(YamlMap& map, const Common& defaults) {
  Common common = defaults;
  parseImpairment(map, common.impairment);
  if (const auto mtu = map.get("mtu")) common.mtu = mtu->whole(68, 65535);
  return common;
}

/// A link's two ends, from "A-B".
std::pair<RouterId, RouterId> endsOf(const YamlValue& value, const Topology& topology) {
  const std::string text = value.text();
  const auto dash = text.find('-');
  const auto a = topology.routerNamed(text.substr(0, dash));
  const auto b =
      dash == std::string::npos ? std::nullopt : topology.routerNamed(text.substr(dash + 1));
  if (!a || !b || *a == *b) {
    value.fail("\"" + text + "\" does not name two routers as in \"r1-r2\"");
  }
  return {*a, *b};
}

/// The names of the members' interfaces, where they are not the network's.
void parseInterfaces(YamlMap& map, NetworkPlan& network, const Topology& topology) {
  const auto names = map.get("interfaces");
  if (!names) return;
  for (const YamlValue& name : names->list()) network.interfaces.emplace_back(name.text());
  if (network.interfaces.size() != network.members.size()) {
    names->fail("there is one interface for each router, in their order");
  }
  for (std::size_t i = 0; i < network.members.size(); ++i) {
    const RouterPlan& router = topology.router(network.members[i]);
    for (const NetworkId other : router.networks) {
      if (topology.network(other).intfOf(network.members[i]) != network.interfaces[i]) continue;
      names->fail(router.name + " has an interface " + network.interfaces[i].text() + " already");
    }
  }
}

void parseLink(const YamlValue& value, Topology& topology, const Common& defaults) {
  if (!value.isMap()) {
    const auto [a, b] = endsOf(value, topology);
    topology.newLink(a, b, defaults.impairment, defaults.mtu);
    return;
  }
  YamlMap map(value);
  const auto [a, b] = endsOf(map.need("link"), topology);
  const Common common = parseCommon(map, defaults);
  NetworkPlan named{"", {a, b}, {}, 0, false, {}};
  parseInterfaces(map, named, topology);
  map.done();
  const NetworkId link = topology.newLink(a, b, common.impairment, common.mtu);
  if (!named.interfaces.empty()) topology.network(link).interfaces = named.interfaces;
}

void parseLan(const YamlValue& value, Topology& topology, const Common& defaults) {
  YamlMap map(value);
  NetworkPlan lan;
  lan.lan = true;
  lan.name = map.need("lan").text();
  if (topology.networkNamed(lan.name)) value.fail("there is a network " + lan.name + " already");
  const YamlValue members = map.need("routers");
  for (const YamlValue& name : members.list()) {
    lan.members.push_back(routerNamed(name, topology));
  }
  std::vector<RouterId> sorted = lan.members;
  std::sort(sorted.begin(), sorted.end());
  if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) {
    members.fail("a router stands on the LAN twice");
  }
  if (sorted.size() < 2 || sorted.size() > mostOnLan) members.fail("a LAN has 2 to 250 routers");
  const Common common = parseCommon(map, defaults);
  lan.impairment = common.impairment;
  lan.mtu = common.mtu;
  parseInterfaces(map, lan, topology);
  map.done();
  topology.newNetwork(lan);
}

void parseTorus(const YamlValue& value, Topology& topology, const Common& common) {
  const std::string text = value.text();
  const auto cross = text.find('x');
  unsigned columns = 0;
  unsigned rows = 0;
  try {
    columns = static_cast<unsigned>(std::stoul(text.substr(0, cross)));
    rows = static_cast<unsigned>(std::stoul(text.substr(cross + 1)));
  } catch (const std::exception&) {
  }
  const bool whole = text == std::to_string(columns) + "x" + std::to_string(rows);
  if (!whole || columns < 3 || rows < 3 || columns > mostRouters / rows) {
    value.fail("\"" + text + "\" is no size as in \"4x5\", with 3 or more each way");
  }
  topology.addTorus(columns, rows, common.impairment, common.mtu);
}

void parseShapes(YamlMap& map, Topology& topology, const Common& common) {
  if (const auto n = map.get("line")) {
    topology.addLine(n->whole(1, mostRouters), common.impairment, common.mtu);
  }
  if (const auto n = map.get("ring")) {
    topology.addRing(n->whole(3, mostRouters), common.impairment, common.mtu);
  }
  if (const auto n = map.get("star")) {
    topology.addStar(n->whole(2, mostRouters), common.impairment, common.mtu);
  }
  if (const auto n = map.get("torus")) parseTorus(*n, topology, common);
  if (const auto n = map.get("lan")) {
    topology.addLan(n->whole(2, mostOnLan), common.impairment, common.mtu);
  }
}

}  // namespace

void parseImpairment(YamlMap& map, Impairment& impairment) {
  if (const auto v = map.get("delay")) impairment.delay = v->number(0, 60);
  if (const auto v = map.get("jitter")) impairment.jitter = v->number(0, 60);
  if (const auto v = map.get("loss")) impairment.loss = v->share();
  if (const auto v = map.get("duplicate")) impairment.duplicate = v->share();
  if (const auto v = map.get("reorder")) impairment.reorder = v->share();
  if (const auto v = map.get("reorder-delay")) impairment.reorderDelay = v->number(0, 60);
}

void parseTopology(const YamlValue& value, Topology& topology) {
  YamlMap map(value);
  const Common common = parseCommon(map, {});
  parseShapes(map, topology, common);
  if (const auto routers = map.get("routers")) {
    for (const YamlValue& name : routers->list()) {
      const std::string text = name.text();
      if (text.empty() || text.find('-') != std::string::npos) {
        name.fail("a router's name is not empty and has no dash");
      }
      if (topology.routerNamed(text)) name.fail("there is a router " + text + " already");
      topology.newRouter(text);
    }
  }
  if (const auto links = map.get("links")) {
    for (const YamlValue& link : links->list()) parseLink(link, topology, common);
  }
  if (const auto lans = map.get("lans")) {
    for (const YamlValue& lan : lans->list()) parseLan(lan, topology, common);
  }
  map.done();
  if (topology.routers().empty()) value.fail("there are no routers");
}

RouterId routerNamed(const YamlValue& value, const Topology& topology) {
  const auto id = topology.routerNamed(value.text());
  if (!id) value.fail("there is no router " + value.text());
  return *id;
}

NetworkId networkNamed(const YamlValue& value, const Topology& topology) {
  const auto id = topology.networkNamed(value.text());
  if (!id) value.fail("there is no link or LAN " + value.text());
  return *id;
}

std::vector<RouterId> routersNamed(const YamlValue& value, const Topology& topology) {
  std::vector<RouterId> routers;
  if (!value.isList() && value.text() == "all") return routers;
  for (const YamlValue& name : value.list()) routers.push_back(routerNamed(name, topology));
  return routers;
}

}  // namespace Routing::Sim
