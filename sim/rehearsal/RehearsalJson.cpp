#include "sim/rehearsal/RehearsalJson.h"

#include <algorithm>

#include "sim/rehearsal/RehearsalText.h"
#include "sim/report/JsonParts.h"

namespace Routing::Sim {
namespace {

Json namesJson(const Topology& topology, const std::set<RouterId>& routers) {
  Json names = Json::array();
  for (const RouterId router : routers) names.push_back(topology.router(router).name);
  return names;
}

Json rpsJson(const std::set<IpGenAddr>& rps) {
  Json addresses = Json::array();
  for (const IpGenAddr& rp : rps) addresses.push_back(rp.text());
  return addresses;
}

Json rangeJson(const Topology& topology, const RangeOutcome& range) {
  Json without = Json::object();
  for (const auto& [router, time] : range.without) {
    without[topology.router(router).name] = rounded(time);
  }
  return {{"range", range.range.text()},
          {"before", rpsJson(range.before)},
          {"after", rpsJson(range.after)},
          {"candidates", namesJson(topology, range.candidates)},
          {"seconds-without-rp", without},
          {"lost", namesJson(topology, range.lost)},
          {"withdrawn", namesJson(topology, range.withdrawn)},
          {"seconds-of-disagreement", rounded(range.disagreement)}};
}

Json dropJson(const Topology& topology, const DropOutcome& drop) {
  Json counts = Json::object();
  for (const auto& [router, count] : drop.counts) counts[topology.router(router).name] = count;
  return {{"reason", drop.reason}, {"messages", counts}, {"new", namesJson(topology, drop.fresh)}};
}

Json outcomeJson(const Topology& topology, const RehearsalOutcome& outcome) {
  Json ranges = Json::array();
  for (const RangeOutcome& range : outcome.ranges) ranges.push_back(rangeJson(topology, range));
  Json elections = Json::array();
  for (const Happening& happening : outcome.elections) {
    elections.push_back({{"at", rounded(happening.at - outcome.began)},
                         {"text", happening.text},
                         {"routers", happening.routers}});
  }
  Json drops = Json::array();
  for (const DropOutcome& drop : outcome.drops) drops.push_back(dropJson(topology, drop));
  Json faults = Json::array();
  for (const Violation& fault : outcome.faults) {
    faults.push_back({{"invariant", fault.invariant}, {"found", fault.what}});
  }
  return {{"dead", outcome.dead ? Json(topology.router(*outcome.dead).name) : Json()},
          {"bad", outcome.bad()},
          {"ranges", ranges},
          {"elections", elections},
          {"drops", drops},
          {"faults", faults}};
}

}  // namespace

std::string rehearsalJson(const Topology& topology, const std::vector<RehearsalOutcome>& outcomes) {
  Json runs = Json::array();
  for (const RehearsalOutcome& outcome : outcomes) runs.push_back(outcomeJson(topology, outcome));
  const bool bad = std::any_of(outcomes.begin(), outcomes.end(),
                               [](const RehearsalOutcome& outcome) { return outcome.bad(); });
  return Json{{"bad", bad}, {"verdict", verdictOf(topology, outcomes)}, {"runs", runs}}.dump(2) +
         "\n";
}

}  // namespace Routing::Sim
