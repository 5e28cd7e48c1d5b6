#include "sim/scenario/ParseConfig.h"

#include <algorithm>

namespace Routing::Sim {
namespace {

using Changes = std::vector<ConfigChange>;

/// What every item says of itself: on which routers, for which families.
struct Where {
  std::vector<RouterId> routers;
  std::vector<AddressFamily> families;
};

Where parseWhere(YamlMap& map, const Scenario& scenario, std::optional<AddressFamily> given) {
  Where where;
  const YamlValue routers = map.need("router");
  where.routers = routersNamed(routers, scenario.topology);
  if (where.routers.empty()) {
    for (RouterId id = 0; id < scenario.topology.routers().size(); ++id) {
      where.routers.push_back(id);
    }
  }
  where.families = scenario.families;
  if (given) {
    const auto& spoken = scenario.families;
    if (std::find(spoken.begin(), spoken.end(), *given) == spoken.end()) {
      map.value().fail("this address family is not among the families of the scenario");
    }
    where.families = {*given};
  }
  return where;
}

Changes forAll(const Where& where,
               const std::function<std::function<void(RouterConfig&)>(AddressFamily)>& change) {
  Changes changes;
  for (const RouterId router : where.routers) {
    for (const AddressFamily af : where.families) changes.push_back({router, af, change(af)});
  }
  return changes;
}

IpGenPrefix groupRange(const YamlValue& value) {
  const IpGenPrefix prefix = value.prefix();
  if (!IpGenPrefix::multicast(prefix.af()).contains(prefix)) {
    value.fail(value.text() + " is no range of multicast groups");
  }
  return prefix;
}

std::optional<IpGenPrefix> zoneOf(YamlMap& map) {
  const auto zone = map.get("zone");
  if (!zone) return std::nullopt;
  return groupRange(*zone);
}

std::optional<AddressFamily> familyOf(const std::optional<IpGenPrefix>& prefix) {
  return prefix ? std::optional(prefix->af()) : std::nullopt;
}

CandidateBsr& candidateBsr(RouterConfig& config, const IpGenPrefix& zone, AddressFamily af) {
  for (CandidateBsr& known : config.candidateBsrs) {
    if (known.zone == zone) return known;
  }
  CandidateBsr candidate;
  candidate.zone = zone;
  candidate.hashMaskLen = af == AddressFamily::ipv4 ? 30 : 126;
  config.candidateBsrs.push_back(candidate);
  return config.candidateBsrs.back();
}

Changes parseCandidateBsr(const YamlValue& value, const Scenario& scenario) {
  YamlMap map(value);
  const auto zone = zoneOf(map);
  const auto address = map.get("address");
  const auto given = address ? std::optional(address->address().af()) : familyOf(zone);
  const Where where = parseWhere(map, scenario, given);
  const auto priority = map.get("priority");
  const auto hash = map.get("hash-mask-len");
  const auto period = map.get("period");
  map.done();
  std::optional<std::uint32_t> newPriority;
  std::optional<std::uint32_t> newHash;
  std::optional<std::uint32_t> newPeriod;
  std::optional<IpGenAddr> newAddress;
  if (priority) newPriority = priority->whole(0, 255);
  if (hash) newHash = hash->whole(0, 127);
  if (period) newPeriod = period->whole(10, 65535);
  if (address) newAddress = address->address();
  return forAll(where, [=](AddressFamily af) {
    return [=](RouterConfig& config) {
      CandidateBsr& bsr = candidateBsr(config, zone.value_or(IpGenPrefix::multicast(af)), af);
      if (newPriority) bsr.priority = static_cast<std::uint16_t>(*newPriority);
      if (newHash) bsr.hashMaskLen = *newHash;
      if (newPeriod) bsr.period = *newPeriod;
      if (newAddress) bsr.address = *newAddress;
    };
  });
}

Changes parseNoCandidateBsr(const YamlValue& value, const Scenario& scenario) {
  YamlMap map(value);
  const auto zone = zoneOf(map);
  const Where where = parseWhere(map, scenario, familyOf(zone));
  map.done();
  return forAll(where, [=](AddressFamily af) {
    return [=](RouterConfig& config) {
      std::erase_if(config.candidateBsrs, [&](const CandidateBsr& bsr) {
        return bsr.zone == zone.value_or(IpGenPrefix::multicast(af));
      });
    };
  });
}

/// A range, or a range with a priority of its own: {range: 239.1.0.0/16, priority: 10}.
std::pair<IpGenPrefix, std::uint16_t> parseRange(const YamlValue& value, std::uint16_t priority) {
  if (!value.isMap()) return {groupRange(value), priority};
  YamlMap map(value);
  const IpGenPrefix range = groupRange(map.need("range"));
  if (const auto own = map.get("priority")) {
    priority = static_cast<std::uint16_t>(own->whole(0, 255));
  }
  map.done();
  return {range, priority};
}

bool sameAddress(const CandidateRp& rp, const std::optional<IpGenAddr>& address) {
  return rp.address == address.value_or(IpGenAddr{});
}

IpGenAddr following(const IpGenAddr& first, std::uint32_t number) {
  return first.af() == AddressFamily::ipv4 ? IpGenAddr::v4(first.v4Value() + number)
                                           : IpGenAddr::v6(first.upper(), first.lower() + number);
}

Changes parseCandidateRp(const YamlValue& value, const Scenario& scenario) {
  YamlMap map(value);
  CandidateRp rp;
  std::uint16_t priority = 192;
  if (const auto v = map.get("priority")) priority = static_cast<std::uint16_t>(v->whole(0, 255));
  std::optional<AddressFamily> given;
  std::uint32_t count = 1;
  if (const auto v = map.get("address")) {
    rp.address = v->address();
    given = rp.address.af();
    if (const auto more = map.get("count")) count = more->whole(1, 10'000);
  }
  if (const auto ranges = map.get("ranges")) {
    for (const YamlValue& entry : ranges->list()) {
      const auto range = parseRange(entry, priority);
      if (given && *given != range.first.af()) entry.fail("the range is of another family");
      given = range.first.af();
      rp.ranges.insert(range);
    }
  }
  if (const auto v = map.get("interval")) {
    rp.interval = static_cast<std::uint16_t>(v->whole(1, 21845));
  }
  if (const auto v = map.get("mode")) {
    if (v->text() != "sparse" && v->text() != "bidir") v->fail("a mode is sparse or bidir");
    rp.bidirectional = v->text() == "bidir";
  }
  const Where where = parseWhere(map, scenario, given);
  map.done();
  return forAll(where, [=](AddressFamily af) {
    return [=](RouterConfig& config) {
      CandidateRp candidate = rp;
      if (candidate.ranges.empty()) candidate.ranges[IpGenPrefix::multicast(af)] = priority;
      for (std::uint32_t number = 0; number < count; ++number) {
        if (number > 0) candidate.address = following(rp.address, number);
        std::erase_if(config.candidateRps,
                      [&](const CandidateRp& old) { return sameAddress(old, candidate.address); });
        config.candidateRps.push_back(candidate);
      }
    };
  });
}

Changes parseNoCandidateRp(const YamlValue& value, const Scenario& scenario) {
  YamlMap map(value);
  std::optional<IpGenAddr> address;
  if (const auto v = map.get("address")) address = v->address();
  const Where where =
      parseWhere(map, scenario, address ? std::optional(address->af()) : std::nullopt);
  map.done();
  return forAll(where, [=](AddressFamily) {
    return [=](RouterConfig& config) {
      std::erase_if(config.candidateRps,
                    [&](const CandidateRp& old) { return sameAddress(old, address); });
    };
  });
}

Changes parseBorder(const YamlValue& value, const Scenario& scenario) {
  YamlMap map(value);
  const auto zone = zoneOf(map);
  const Where where = parseWhere(map, scenario, familyOf(zone));
  const YamlValue on = map.need("on");
  const NetworkId network = networkNamed(on, scenario.topology);
  map.done();
  const auto& members = scenario.topology.network(network).members;
  for (const RouterId router : where.routers) {
    if (std::find(members.begin(), members.end(), router) == members.end()) {
      on.fail(scenario.topology.router(router).name + " is not on " + on.text());
    }
  }
  return forAll(where, [=](AddressFamily af) {
    return [=](RouterConfig& config) {
      config.borders.push_back({zone.value_or(IpGenPrefix::multicast(af)), network});
    };
  });
}

Changes parseFilter(const YamlValue& value, const Scenario& scenario) {
  YamlMap map(value);
  std::vector<IpGenPrefix> permit;
  for (const YamlValue& prefix : map.need("permit").list()) permit.push_back(prefix.prefix());
  if (permit.empty()) value.fail("a filter permits at least one prefix");
  const Where where = parseWhere(map, scenario, permit.front().af());
  map.done();
  return forAll(where, [=](AddressFamily) {
    return [=](RouterConfig& config) { config.crpPermit = permit; };
  });
}

struct Kind {
  const char* name;
  Changes (*parse)(const YamlValue&, const Scenario&);
};
constexpr Kind kinds[] = {{"candidate-bsr", parseCandidateBsr},
                          {"no-candidate-bsr", parseNoCandidateBsr},
                          {"candidate-rp", parseCandidateRp},
                          {"no-candidate-rp", parseNoCandidateRp},
                          {"border", parseBorder},
                          {"crp-filter", parseFilter}};

}  // namespace

const std::vector<std::string>& configKinds() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> all;
    for (const Kind& kind : kinds) all.emplace_back(kind.name);
    return all;
  }();
  return names;
}

Changes parseChanges(const std::string& kind, const YamlValue& value, const Scenario& scenario) {
  for (const Kind& known : kinds) {
    if (kind == known.name) return known.parse(value, scenario);
  }
  value.fail("\"" + kind + "\" is nothing to configure");
}

void parseConfiguration(const YamlValue& list, Scenario& scenario) {
  for (const YamlValue& item : list.list()) {
    YamlMap map(item);
    for (const std::string& kind : configKinds()) {
      const auto value = map.get(kind);
      if (!value) continue;
      for (const ConfigChange& change : parseChanges(kind, *value, scenario)) {
        change.apply(scenario.config(change.router, change.af));
      }
    }
    map.done();
  }
}

}  // namespace Routing::Sim
