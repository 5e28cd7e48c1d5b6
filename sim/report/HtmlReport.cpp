#include "sim/report/HtmlReport.h"

#include <array>
#include <map>

#include "sim/report/HtmlPages.h"
#include "sim/report/JsonParts.h"

namespace Routing::Sim {
namespace {

/// The states of RFC 5059 section 3.1.1 in words.
const char* stateWords(Pim::Bsr::BsrCandidateState state) {
  constexpr std::array words{"knows no BSR", "candidate BSR", "waits to be elected", "elected BSR"};
  return words.at(static_cast<std::size_t>(state));
}

std::string rolesOf(const ScenarioRun& run, RouterId router) {
  std::string roles;
  for (const AddressFamily af : run.scenario().families) {
    const Duties& duties = run.world().speaker(router, af).duties();
    if (!duties.zones.empty() && roles.find('B') == std::string::npos) roles += 'B';
    if (!duties.rps.empty() && roles.find('R') == std::string::npos) roles += 'R';
  }
  return roles;
}

Json routersJson(const ScenarioRun& run) {
  Json routers = Json::array();
  const Topology& topology = run.world().topology();
  for (RouterId id = 0; id < topology.routers().size(); ++id) {
    const RouterPlan& plan = topology.router(id);
    Json router{{"n", plan.name}, {"roles", rolesOf(run, id)}, {"a", Json::array()}};
    for (const AddressFamily af : run.world().families()) {
      router["a"].push_back(run.world().speaker(id, af).loopback().text());
    }
    if (plan.place) router["p"] = {plan.place->x, plan.place->y};
    routers.push_back(router);
  }
  return routers;
}

Json bordersOn(const World& world, NetworkId network) {
  Json borders = Json::array();
  for (const RouterId member : world.topology().network(network).members) {
    const std::string& intf = world.topology().network(network).intfOf(member).text();
    for (const AddressFamily af : world.families()) {
      for (const auto& [zone, interfaces] : world.speaker(member, af).duties().borders) {
        if (interfaces.contains(intf)) borders.push_back({member, zone.text()});
      }
    }
  }
  return borders;
}

Json networksJson(const World& world) {
  Json networks = Json::array();
  for (NetworkId id = 0; id < world.topology().networks().size(); ++id) {
    const NetworkPlan& plan = world.topology().network(id);
    networks.push_back({{"n", plan.name},
                        {"m", plan.members},
                        {"lan", plan.lan},
                        {"borders", bordersOn(world, id)}});
  }
  return networks;
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

/// The RP sets that occur; `numbers` are their places, by digest.
Json setsJson(const Recorder& recorder, std::map<std::uint64_t, std::size_t>& numbers) {
  Json sets = Json::array();
  for (const auto& [digest, mappings] : recorder.sets()) {
    numbers.emplace(digest, sets.size());
    Json set = Json::array();
    for (const auto& m : mappings) set.push_back({m.range, m.rp, m.priority, m.bidirectional});
    sets.push_back(set);
  }
  return sets;
}

Json changesJson(const Recorder& recorder, const std::map<std::uint64_t, std::size_t>& sets,
                 Dictionary& words) {
  Json changes = Json::array();
  for (const auto& change : recorder.changes()) {
    const ZoneBelief& belief = change.belief;
    Json entry{rounded(change.at), change.router, words.number(belief.zone.text())};
    entry.push_back(belief.bsr.isUnset() ? Json() : Json(words.number(belief.bsr.text())));
    entry.push_back(belief.priority);
    entry.push_back(belief.elected);
    entry.push_back(belief.state ? Json(stateWords(*belief.state)) : Json());
    const auto set = sets.find(belief.rpDigest);
    entry.push_back(belief.rps > 0 && set != sets.end() ? Json(set->second) : Json());
    changes.push_back(entry);
  }
  return changes;
}

Json messagesJson(const Recorder& recorder, Dictionary& words) {
  Json messages = Json::array();
  for (const auto& m : recorder.messages()) {
    messages.push_back({rounded(m.sent), m.arrived < m.sent ? -1.0 : rounded(m.arrived), m.from,
                        m.to, m.network, std::string(1, m.kind), words.number(m.about)});
  }
  return messages;
}

Json switchesJson(const Recorder& recorder) {
  Json switches = Json::array();
  for (const auto& s : recorder.switches()) {
    switches.push_back({rounded(s.at), s.isRouter, s.id, s.up});
  }
  return switches;
}

}  // namespace

std::string htmlReport(const ScenarioRun& run, const Timeline& timeline, const Recorder& recorder) {
  Dictionary words;
  std::map<std::uint64_t, std::size_t> sets;
  Json data = runJson(run);
  data["topology"] = {{"routers", routersJson(run)}, {"networks", networksJson(run.world())}};
  data["timeline"] = timelineJson(timeline);
  data["sets"] = setsJson(recorder, sets);
  data["changes"] = changesJson(recorder, sets, words);
  data["messages"] = messagesJson(recorder, words);
  data["switches"] = switchesJson(recorder);
  data["words"] = words.texts();
  return pageWith(HtmlPages::page, data);
}

}  // namespace Routing::Sim
