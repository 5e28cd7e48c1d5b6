#include "agent/control/Explain.h"

#include <nlohmann/json.hpp>

#include "agent/control/ShowParts.h"

namespace Routing::Agent {
namespace {

/// "BSR 10.0.0.1 of zone 224.0.0.0/4, RP 10.0.0.1"; nothing when none runs.
std::string runningCandidates(const Pim::Bsr::Status& status) {
  std::string running;
  const auto add = [&running](const std::string& one) {
    running += (running.empty() ? "" : ", ") + one;
  };
  for (const auto& [zone, candidate] : status.cbsr()) {
    if (candidate->address().isUnset()) continue;
    add("BSR " + candidate->address().text() + " of zone " + zone.text());
  }
  for (const auto& [address, candidate] : status.crp()) add("RP " + address.text());
  return running;
}

/// To whom this router's RPs are advertised, and when next.
void addAdvertisements(const ShowInput& in, Explanation& out) {
  const Json shown = showRpCandidate(in);
  for (const Json& rp : shown.at("candidates")) {
    const Json& next = rp.at("next-advertisement");
    const std::string when = distanceText(next.is_null() ? 0.0 : next.get<double>());
    for (const Json& to : rp.at("advertised-to")) {
      out.facts.emplace_back("RP " + rp.at("rp-address").get<std::string>(),
                             "advertised to BSR " + to.at("bsr").get<std::string>() + " of zone " +
                                 to.at("zone").get<std::string>() + ", next in " + when);
    }
  }
}

}  // namespace

Json Explanation::json() const {
  Json list = Json::array();
  for (const auto& [name, value] : facts) list.push_back({{"name", name}, {"value", value}});
  return {{"answer", answer + "."},
          {"problem", problem},
          {"facts", std::move(list)},
          {"changes", changes.is_null() ? Json::array() : changes},
          {"drops", drops.is_null() ? Json::array() : drops}};
}

Json explainDrops(const ShowInput& in) {
  const auto drops = dropsOf(in);
  const Pim::DropLog::Echoes& echoes = std::as_const(*in.instance.pamManager).drops().echoes();
  Explanation out;
  out.problem = !drops.empty();
  out.answer = drops.empty() ? "Nothing has been dropped"
                             : "The last message dropped was " + dropText(drops.back());
  for (const auto& [reason, count] : in.instance.pamManager->counters()->rxDropped()) {
    out.facts.emplace_back("Packet layer, " + reason, std::to_string(count));
  }
  out.facts.emplace_back("Echoes", std::to_string(echoes.rpf + echoes.noForward) +
                                       " copies of messages sent or accepted, no fault");
  out.drops = dropsJson(in, drops);
  return out.json();
}

Json explainCandidate(const ShowInput& in) {
  Explanation out;
  const std::string running = runningCandidates(*in.instance.status);
  for (const IdleCandidate& idle : in.instance.idle) {
    const std::string what = idle.bsr ? "candidate BSR" : "candidate RP";
    if (out.answer.empty()) {
      out.answer =
          "This router's " + what + " on " + idle.intf + " does not run: " + idleText(idle);
    }
    out.facts.emplace_back("Idle " + what + " on " + idle.intf, idleText(idle));
  }
  out.problem = !out.answer.empty();
  if (in.drained.bsr || in.drained.rp) out.facts.emplace_back("Drained", "by an operator");
  if (!out.problem) {
    out.answer =
        running.empty() ? "This router is no candidate" : "This router is a candidate: " + running;
  }
  if (out.problem && !running.empty()) out.facts.emplace_back("Running", running);
  addAdvertisements(in, out);
  out.changes = eventsJson(in, lastOnes, [](const Event& event) {
    return event.kind >= EventKind::candidateBsrStarted &&
           event.kind <= EventKind::candidateRpStopped;
  });
  return out.json();
}

}  // namespace Routing::Agent
