#include "sim/report/JsonReport.h"

#include <iomanip>
#include <sstream>

#include "sim/report/JsonParts.h"

namespace Routing::Sim {
namespace {

std::string hex(std::uint64_t value) {
  std::ostringstream text;
  text << std::hex << std::setw(16) << std::setfill('0') << value;
  return text.str();
}

Json failuresJson(const ScenarioRun& run) {
  Json failures = Json::array();
  for (const Disappointment& failure : run.disappointments()) {
    failures.push_back(
        {{"at", failure.at}, {"expected", failure.expected}, {"found", failure.found}});
  }
  for (const Violation& violation : run.invariants().violations()) {
    failures.push_back(
        {{"at", violation.at}, {"invariant", violation.invariant}, {"found", violation.what}});
  }
  return failures;
}

Json zonesJson(const Belief& belief) {
  Json zones = Json::array();
  for (const ZoneBelief& about : belief.zones) {
    Json zone{{"zone", about.zone.text()}};
    if (!about.bsr.isUnset()) {
      zone["bsr"] = about.bsr.text();
      zone["priority"] = about.priority;
      zone["hash-mask-length"] = about.hashMaskLen;
    }
    if (about.state) zone["candidate-state"] = std::string(enumName(*about.state));
    zones.push_back(zone);
  }
  return zones;
}

Json rpSetJson(const Speaker& speaker) {
  Json rps = Json::array();
  for (const auto& [range, set] : speaker.view()->crpSet()) {
    for (const auto& [address, rp] : set->rp()) {
      rps.push_back({{"range", range.text()},
                     {"rp", address.text()},
                     {"priority", rp->priority().value()},
                     {"mode", std::string(enumName(rp->mode()))}});
    }
  }
  return rps;
}

Json countersJson(const Speaker& speaker) {
  const auto& c = speaker.status()->counters();
  const auto& e = c->errCounters();
  return {{"rx", c->rx()},
          {"rxSuccess", c->rxSuccess()},
          {"rxError", c->rxError()},
          {"rxBsm", c->rxBsm()},
          {"rxBsmSuccess", c->rxBsmSuccess()},
          {"rxBsmError", c->rxBsmError()},
          {"rxCrpAdv", c->rxCrpAdv()},
          {"rxCrpAdvSuccess", c->rxCrpAdvSuccess()},
          {"rxCrpAdvError", c->rxCrpAdvError()},
          {"tx", c->tx()},
          {"txSuccess", c->txSuccess()},
          {"txError", c->txError()},
          {"rxFilter", e.rxFilter()},
          {"rxNbrRpfCheck", e.rxNbrRpfCheck()},
          {"rxNoForwardBsm", e.rxNoForwardBsm()},
          {"rxUnicastBsm", e.rxUnicastBsm()},
          {"rxScopeMismatch", e.rxScopeMismatch()},
          {"rxInvalid", e.rxInvalid()}};
}

}  // namespace

std::string kindText(Happening::Kind kind) {
  constexpr const char* names[] = {"script", "election", "bsr", "rp-set", "drop"};
  return names[static_cast<std::size_t>(kind)];
}

Json runJson(const ScenarioRun& run) {
  return {{"scenario", run.scenario().name}, {"text", run.scenario().text},
          {"seed", run.options().seed},      {"faults", run.options().faults},
          {"passed", run.passed()},          {"expectations", run.judged()},
          {"skipped", run.skipped()},        {"end", run.world().now()},
          {"events", run.world().events()},  {"packets", run.world().packets()},
          {"digest", hex(run.digest())},     {"failures", failuresJson(run)}};
}

Json timelineJson(const Timeline& timeline) {
  Json all = Json::array();
  for (const Happening& happening : timeline.happenings()) {
    all.push_back({{"at", happening.at},
                   {"kind", kindText(happening.kind)},
                   {"text", happening.text},
                   {"routers", happening.routers},
                   {"last", happening.last}});
  }
  return all;
}

std::string pageWith(std::string_view page, const Json& data) {
  std::string text;
  for (const char c : data.dump(-1, ' ', true)) {
    c == '<' ? text += "\\u003c" : text += c;
  }
  constexpr std::string_view mark = "@DATA@";
  return std::string(page).replace(page.find(mark), mark.size(), text);
}

std::string jsonReport(ScenarioRun& run, const Timeline& timeline) {
  Json report = runJson(run);
  report["timeline"] = timelineJson(timeline);
  Json routers = Json::array();
  for (RouterId id = 0; id < run.world().topology().routers().size(); ++id) {
    Json router{{"router", run.world().topology().router(id).name}, {"up", run.world().up(id)}};
    for (const AddressFamily af : run.world().families()) {
      const Speaker& speaker = run.world().speaker(id, af);
      router[std::string(enumName(af))] = {{"zones", zonesJson(run.beliefs().of(id, af))},
                                           {"rp-set", rpSetJson(speaker)},
                                           {"counters", countersJson(speaker)}};
    }
    routers.push_back(router);
  }
  report["routers"] = routers;
  return report.dump(2);
}

}  // namespace Routing::Sim
