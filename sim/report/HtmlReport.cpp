#include "sim/report/HtmlReport.h"

#include <map>

#include "sim/report/JsonParts.h"

namespace Routing::Sim {
namespace {

double rounded(double seconds) {
  return static_cast<double>(static_cast<std::int64_t>(seconds * 1e4 + 0.5)) / 1e4;
}

std::string rolesOf(const ScenarioRun& run, RouterId router) {
  std::string roles;
  for (const AddressFamily af : run.scenario().families) {
    const auto config = run.scenario().configs.find({router, af});
    if (config == run.scenario().configs.end()) continue;
    if (!config->second.candidateBsrs.empty() && roles.find('B') == std::string::npos) roles += 'B';
    if (!config->second.candidateRps.empty() && roles.find('R') == std::string::npos) roles += 'R';
  }
  return roles;
}

Json topologyJson(const ScenarioRun& run) {
  Json routers = Json::array();
  const Topology& topology = run.world().topology();
  for (RouterId id = 0; id < topology.routers().size(); ++id) {
    const RouterPlan& plan = topology.router(id);
    Json router{{"n", plan.name}, {"roles", rolesOf(run, id)}};
    Json addresses = Json::array();
    for (const AddressFamily af : run.world().families()) {
      addresses.push_back(run.world().speaker(id, af).loopback().text());
    }
    router["a"] = addresses;
    if (plan.place) router["p"] = {plan.place->x, plan.place->y};
    routers.push_back(router);
  }
  Json networks = Json::array();
  for (NetworkId id = 0; id < topology.networks().size(); ++id) {
    const NetworkPlan& plan = topology.network(id);
    Json borders = Json::array();
    for (const RouterId member : plan.members) {
      for (const AddressFamily af : run.world().families()) {
        for (const BorderPlan& border : run.world().speaker(member, af).config().borders) {
          if (border.network == id) borders.push_back({member, border.zone.text()});
        }
      }
    }
    networks.push_back(
        {{"n", plan.name}, {"m", plan.members}, {"lan", plan.lan}, {"borders", borders}});
  }
  return {{"routers", routers}, {"networks", networks}};
}

/// Texts that occur often are written once.
class Dictionary {
 public:
  std::size_t number(const std::string& text) {
    const auto [it, fresh] = numbers_.try_emplace(text, numbers_.size());
    if (fresh) texts_.push_back(text);
    return it->second;
  }
  const Json& texts() const { return texts_; }

 private:
  std::map<std::string, std::size_t> numbers_;
  Json texts_ = Json::array();
};

}  // namespace

std::string htmlReport(const ScenarioRun& run, const Timeline& timeline, const Recorder& recorder) {
  Json data = runJson(run);
  data["topology"] = topologyJson(run);
  data["timeline"] = timelineJson(timeline);
  Dictionary words;
  Json sets = Json::array();
  std::map<std::uint64_t, std::size_t> setNumber;
  for (const auto& [digest, mappings] : recorder.sets()) {
    setNumber.emplace(digest, sets.size());
    Json set = Json::array();
    for (const auto& m : mappings) set.push_back({m.range, m.rp, m.priority, m.bidirectional});
    sets.push_back(set);
  }
  Json changes = Json::array();
  for (const auto& change : recorder.changes()) {
    const ZoneBelief& belief = change.belief;
    const auto set = setNumber.find(belief.rpDigest);
    changes.push_back(
        {rounded(change.at), change.router, words.number(belief.zone.text()),
         belief.bsr.isUnset() ? Json(nullptr) : Json(words.number(belief.bsr.text())),
         belief.priority, belief.elected,
         belief.state ? Json(std::string(enumName(*belief.state))) : Json(nullptr),
         belief.rps > 0 && set != setNumber.end() ? Json(set->second) : Json(nullptr)});
  }
  Json messages = Json::array();
  for (const auto& m : recorder.messages()) {
    messages.push_back({rounded(m.sent), m.arrived < m.sent ? -1.0 : rounded(m.arrived), m.from,
                        m.to, m.network, std::string(1, m.kind), words.number(m.about)});
  }
  Json switches = Json::array();
  for (const auto& s : recorder.switches()) {
    switches.push_back({rounded(s.at), s.isRouter, s.id, s.up});
  }
  data["sets"] = sets;
  data["changes"] = changes;
  data["messages"] = messages;
  data["switches"] = switches;
  data["words"] = words.texts();
  std::string text = data.dump(-1, ' ', true);
  for (auto at = text.find("</"); at != std::string::npos; at = text.find("</", at)) {
    text.replace(at, 2, "<\\/");  // nothing in the data may end the script
  }
  std::string page(htmlPage());
  constexpr std::string_view mark = "@DATA@";
  return page.replace(page.find(mark), mark.size(), text);
}

}  // namespace Routing::Sim
