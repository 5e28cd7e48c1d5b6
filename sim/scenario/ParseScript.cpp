#include "sim/scenario/ParseScript.h"

#include <algorithm>

#include "sim/scenario/Expectations.h"
#include "sim/scenario/ParseConfig.h"

namespace Routing::Sim {
namespace {

using Run = std::function<void(Control&)>;
using Files = std::vector<RouterFile>;

World::Memory memoryOf(YamlMap& map) {
  const auto status = map.get("status");
  if (!status || status->text() == "lost") return World::Memory::lost;
  if (status->text() == "kept") return World::Memory::kept;
  status->fail("a status is kept or lost");
}

/// Runs something for each of the routers that a value names.
template <class Do>
Run onRouters(const YamlValue& value, const Scenario& scenario, Do&& what) {
  std::vector<RouterId> routers = routersNamed(value, scenario.topology);
  if (routers.empty()) {
    for (RouterId id = 0; id < scenario.topology.routers().size(); ++id) routers.push_back(id);
  }
  return [routers, what](Control& control) {
    for (const RouterId id : routers) what(control, id);
  };
}

template <class Do>
Run onNetworks(const YamlValue& value, const Scenario& scenario, Do&& what) {
  std::vector<NetworkId> networks;
  for (const YamlValue& name : value.list()) {
    networks.push_back(networkNamed(name, scenario.topology));
  }
  return [networks, what](Control& control) {
    for (const NetworkId id : networks) what(control, id);
  };
}

Run parseImpair(const YamlValue& value, const Scenario& scenario) {
  YamlMap map(value);
  const YamlValue on = map.need("on");
  std::vector<NetworkId> networks;
  for (const YamlValue& name : on.list()) {
    networks.push_back(networkNamed(name, scenario.topology));
  }
  Impairment impairment = scenario.topology.network(networks.front()).impairment;
  parseImpairment(map, impairment);
  map.done();
  return [networks, impairment](Control& control) {
    for (const NetworkId id : networks) control.impairmentIs(id, impairment);
  };
}

Run parseAddress(const YamlValue& value, const Scenario& scenario) {
  return [edits = parseAddressEdits(value, scenario)](Control& control) {
    for (const AddressEdit& edit : edits) control.addressIs(edit);
  };
}

/// Tries the edit on the files as earlier ones in the script leave them.
Run parseConfigure(const YamlValue& value, const Scenario& scenario, Files& files) {
  if (files.empty()) value.fail("nothing can be edited where files say what is configured");
  const ConfigEdit edit = parseConfigEdit(value, scenario);
  for (const RouterId router : edit.routers) {
    files[router].take(edit.pieces);
    files[router].config();
  }
  return [edit](Control& control) { control.edit(edit); };
}

Run parseDrain(const YamlValue& value, const Scenario& scenario) {
  YamlMap map(value);
  const YamlValue routers = map.need("router");
  const YamlValue what = map.need("what");
  map.done();
  const std::string said = what.text();
  if (said != "bsr" && said != "rp" && said != "all")
    what.fail("what is drained is bsr, rp or all");
  return onRouters(routers, scenario, [said](Control& control, RouterId id) {
    control.drain(id, {said != "rp", said != "bsr"});
  });
}

/// The end of a router; `away` seconds later it returns, if that is said.
template <class End>
Run parseEnd(YamlMap& map, const YamlValue& routers, const Scenario& scenario, End&& end) {
  const auto away = map.get("away");
  if (!away) return onRouters(routers, scenario, end);
  const double seconds = away->number(0, 1e7);
  const auto memory = memoryOf(map);
  return onRouters(routers, scenario, [=](Control& control, RouterId id) {
    end(control, id);
    control.world().at(control.world().now() + seconds,
                       [&control, id, memory] { control.start(id, memory); });
  });
}

std::optional<Run> parseAct(YamlMap& map, const Scenario& scenario, Files& files) {
  if (const auto v = map.get("crash")) {
    return parseEnd(map, *v, scenario, [](Control& c, RouterId id) { c.crash(id); });
  }
  if (const auto v = map.get("shutdown")) {
    return parseEnd(map, *v, scenario, [](Control& c, RouterId id) { c.shutdown(id); });
  }
  if (const auto v = map.get("start")) {
    const auto memory = memoryOf(map);
    return onRouters(*v, scenario, [memory](Control& c, RouterId id) { c.start(id, memory); });
  }
  if (const auto v = map.get("restart")) {
    const auto memory = memoryOf(map);
    return onRouters(*v, scenario, [memory](Control& c, RouterId id) {
      c.crash(id);
      c.start(id, memory);
    });
  }
  if (const auto v = map.get("down")) {
    return onNetworks(*v, scenario, [](Control& c, NetworkId id) { c.networkIs(id, false); });
  }
  if (const auto v = map.get("up")) {
    return onNetworks(*v, scenario, [](Control& c, NetworkId id) { c.networkIs(id, true); });
  }
  if (const auto v = map.get("drain")) return parseDrain(*v, scenario);
  if (const auto v = map.get("undrain")) {
    return onRouters(*v, scenario, [](Control& c, RouterId id) { c.undrain(id); });
  }
  if (const auto v = map.get("impair")) return parseImpair(*v, scenario);
  if (const auto v = map.get("address")) return parseAddress(*v, scenario);
  if (const auto v = map.get("configure")) return parseConfigure(*v, scenario, files);
  return std::nullopt;
}

// --- expectations -----------------------------------------------------------------------------

/// An address, or the loopback of a router that is named; "none" is unset.
IpGenAddr addressOf(const YamlValue& value, AddressFamily af, const Scenario& scenario) {
  const std::string text = value.text();
  if (text == "none") return {};
  if (const auto router = scenario.topology.routerNamed(text)) {
    return Topology::loopback(*router, af);
  }
  const auto address = IpGenAddr::fromText(text);
  if (!address || address->af() != af) {
    value.fail("\"" + text + "\" is neither a router nor an address of the right family nor none");
  }
  return *address;
}

Pim::Bsr::BsrCandidateState stateOf(const YamlValue& value) {
  using State = Pim::Bsr::BsrCandidateState;
  for (const State state : {State::noInfoBsr, State::cBsr, State::pBsr, State::eBsr}) {
    if (value.text() == enumName(state)) return state;
  }
  value.fail("a state is noInfoBsr, cBsr, pBsr or eBsr");
}

struct Expected {
  double at;
  std::vector<RouterId> routers;
  std::vector<AddressFamily> families;
  std::optional<IpGenPrefix> range;
};

void parseCounters(const YamlValue& value, const Expected& about, std::vector<Expectation>& out) {
  if (about.routers.empty()) value.fail("counters need routers to be named");
  for (const auto& [name, bounds] : YamlMap(value).entries()) {
    if (!isCounter(name.text())) name.fail("there is no counter " + name.text());
    const auto list = bounds.list();
    const std::uint32_t low = list.front().whole(0, UINT32_MAX);
    const std::uint32_t high = list.size() > 1   ? list[1].whole(low, UINT32_MAX)
                               : bounds.isList() ? UINT32_MAX
                                                 : low;
    for (const RouterId router : about.routers) {
      for (const AddressFamily af : about.families) {
        out.push_back(expectCounter(about.at, router, af, name.text(), low, high));
      }
    }
  }
}

void parseRpSet(const YamlValue& value, const Expected& about, const Scenario& scenario,
                std::vector<Expectation>& out) {
  for (const AddressFamily af : about.families) {
    std::vector<IpGenAddr> rps;
    for (const YamlValue& rp : value.list()) {
      const IpGenAddr address = addressOf(rp, af, scenario);
      if (!address.isUnset()) rps.push_back(address);
    }
    out.push_back(expectRpSet(about.at, about.routers,
                              about.range.value_or(IpGenPrefix::multicast(af)), rps));
  }
}

Expected parseAbout(YamlMap& map, double at, const Scenario& scenario) {
  Expected about{at, {}, scenario.families, std::nullopt};
  if (const auto v = map.get("routers")) about.routers = routersNamed(*v, scenario.topology);
  for (const char* key : {"zone", "range"}) {
    if (const auto v = map.get(key)) about.range = v->prefix();
  }
  if (const auto v = map.get("group")) about.range = IpGenPrefix::host(v->address());
  if (about.range) about.families = {about.range->af()};
  return about;
}

/// One mapping, which may expect several things of the same routers.
void parseExpect(const YamlValue& value, double at, const Scenario& scenario,
                 std::vector<Expectation>& out) {
  YamlMap map(value);
  const Expected about = parseAbout(map, at, scenario);
  const std::size_t before = out.size();
  for (const AddressFamily af : about.families) {
    const IpGenPrefix zone = about.range.value_or(IpGenPrefix::multicast(af));
    if (const auto v = map.get("bsr")) {
      out.push_back(expectBsr(at, about.routers, zone, addressOf(*v, af, scenario)));
    }
    if (const auto v = map.get("rp")) {
      if (!map.has("group")) v->fail("an rp is that of a group");
      out.push_back(
          expectRp(at, about.routers, about.range->address(), addressOf(*v, af, scenario)));
    }
    if (const auto v = map.get("state")) {
      if (about.routers.empty()) v->fail("a state needs routers to be named");
      for (const RouterId id : about.routers) out.push_back(expectState(at, id, zone, stateOf(*v)));
    }
    if (const auto v = map.get("agreement")) {
      if (!v->yes()) v->fail("agreement can only be true");
      out.push_back(expectAgreement(at, af));
    }
  }
  if (const auto v = map.get("rp-set")) parseRpSet(*v, about, scenario, out);
  if (const auto v = map.get("counters")) parseCounters(*v, about, out);
  map.done();
  if (out.size() == before) value.fail("nothing is expected here");
}

std::vector<double> timesOf(YamlMap& map) {
  std::vector<double> times;
  for (const YamlValue& at : map.need("at").list()) times.push_back(at.number(0, 1e7));
  return times;
}

}  // namespace

void parseScript(const YamlValue& list, Scenario& scenario) {
  Files files = scenario.files;
  for (const YamlValue& item : list.list()) {
    YamlMap map(item);
    const auto times = timesOf(map);
    const auto expect = map.get("expect");
    for (const double at : times) {
      if (!expect) continue;
      for (const YamlValue& one : expect->list()) {
        parseExpect(one, at, scenario, scenario.expectations);
      }
    }
    const auto act = parseAct(map, scenario, files);
    double spread = 0.0;
    if (act) {
      if (const auto v = map.get("spread")) spread = v->number(0, 1e7);
    }
    map.done();
    if (!act && !expect) item.fail("nothing happens here");
    if (act && expect) item.fail("an item either does something or expects something");
    for (const double at : times) {
      if (at > scenario.duration) item.fail("this is after the end of the run");
      if (act) scenario.actions.push_back({at, *act, spread});
    }
  }
}

void parseFinally(const YamlValue& list, Scenario& scenario) {
  for (const YamlValue& item : list.list()) {
    parseExpect(item, scenario.duration, scenario, scenario.finally);
  }
}

}  // namespace Routing::Sim
