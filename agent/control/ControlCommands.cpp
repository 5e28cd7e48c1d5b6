#include "agent/control/ControlCommands.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "agent/control/ClearCommands.h"
#include "agent/control/DrainCommands.h"
#include "agent/control/Explain.h"
#include "agent/control/Show.h"
#include "agent/control/ShowParts.h"

namespace Routing::Agent {
namespace {

struct ShowTopic {
  std::string_view name;
  Json (*show)(const ShowInput&);
};

constexpr ShowTopic showTopics[] = {
    {"bsr", showBsr},
    {"rp-set", showRpSet},
    {"rp-hash", showRpHash},
    {"neighbor", showNeighbor},
    {"interface", showInterface},
    {"counters", showCounters},
    {"rp-candidate", showRpCandidate},
    {"events", showEvents},
    {"yang", showYang},
    {"status", showStatus},
};

constexpr ShowTopic explainTopics[] = {
    {"bsr", explainBsr},
    {"rp", explainRp},
    {"drops", explainDrops},
    {"candidate", explainCandidate},
};

/// In place of a VRF's name; a VRF that bears it can only be shown with the others.
constexpr std::string_view allVrfs = "all";

std::shared_ptr<const Entity> bsrStatus(const InstanceView& instance) {
  return instance.status;
}
std::shared_ptr<const Entity> pimStatus(const InstanceView& instance) {
  return instance.pimStatus;
}

struct WatchTopic {
  std::string_view name;
  std::shared_ptr<const Entity> (*root)(const InstanceView&);
  std::vector<std::string_view> attributes;
};

const WatchTopic watchTopics[] = {
    {"status", bsrStatus, {}},
    {"bsr", bsrStatus, {"bootstrapRouter", "cbsr"}},
    {"rp-set", bsrStatus, {"crpStatus"}},
    {"counters", bsrStatus, {"counters"}},
    {"neighbor", pimStatus, {}},
};

template <class Topics>
const auto& find(const Topics& topics, const std::string& name) {
  const auto it = std::find_if(std::begin(topics), std::end(topics),
                               [&name](const auto& topic) { return topic.name == name; });
  if (it != std::end(topics)) return *it;
  throw RequestError(RefusalCode::badRequest, "unknown topic '" + name + "'");
}

InstanceView instanceOf(const AgentView& view, const ControlRequest& request) {
  for (InstanceView& instance : view.instances()) {
    if (instance.vrf == request.vrf && instance.af == request.af) return std::move(instance);
  }
  throw RequestError(RefusalCode::unknownVrf,
                     std::string(request.af == AddressFamily::ipv4 ? "IPv4" : "IPv6") +
                         " PIM does not run in VRF '" + request.vrf.text() + "'");
}

using Answer = Json (*)(const ShowInput&);

Json answerOf(const AgentView& view, const ControlRequest& request, const InstanceView& instance,
              Answer answer) {
  const auto interfaces = view.allIntfStatusDir();
  Json data = answer({.instance = instance,
                      .interfaces = *interfaces,
                      .now = view.now(),
                      .startTime = view.startTime(),
                      .drained = view.drainReport().drained,
                      .group = request.group,
                      .groups = request.groups,
                      .zone = request.zone,
                      .rp = request.rp});
  data["vrf"] = instance.vrf.text();
  data["address-family"] = enumName(instance.af);
  return data;
}

/// Of one instance, or of those of the family in all VRFs as `instances`.
Json answerOf(const AgentView& view, const ControlRequest& request, Answer answer) {
  if (request.vrf.text() != allVrfs) {
    return answerOf(view, request, instanceOf(view, request), answer);
  }
  Json instances = Json::array();
  for (const InstanceView& instance : view.instances()) {
    if (instance.af != request.af) continue;
    instances.push_back(answerOf(view, request, instance, answer));
  }
  return {{"instances", std::move(instances)}};
}

Json show(const AgentView& view, const ControlRequest& request) {
  return answerOf(view, request, find(showTopics, request.topic).show);
}

Json explain(const AgentView& view, const ControlRequest& request) {
  return answerOf(view, request, find(explainTopics, request.topic).show);
}

Json jsonOf(const ReloadOutcome& outcome) {
  Json findings = Json::array();
  for (const Finding& finding : outcome.findings) {
    findings.push_back({{"severity", severityText(finding.severity)},
                        {"line", finding.line == 0 ? Json() : Json(finding.line)},
                        {"path", finding.path},
                        {"text", finding.text}});
  }
  return {{"file", outcome.file},
          {"good", outcome.good},
          {"changed", outcome.changed},
          {"undrained", outcome.undrained},
          {"findings", std::move(findings)}};
}

Json upgrade(const ControlTarget& target, const ControlRequest& request) {
  if (request.topic == "prepare") {
    target.commands.prepareUpgrade();
  } else if (request.topic != "status") {
    throw RequestError(RefusalCode::badRequest, "unknown topic '" + request.topic + "'");
  }
  Json instances = Json::array();
  for (const InstanceView& instance : target.view.instances()) {
    instances.push_back({{"vrf", instance.vrf.text()},
                         {"address-family", enumName(instance.af)},
                         {"ready", instance.upgrade->completedVrf(instance.vrf) != nullptr}});
  }
  return {{"instances", std::move(instances)}};
}

/// Names come from the system and may hold octets that are no UTF-8.
std::string lineOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string acceptedLine(Json data) {
  return lineOf({{"ok", true}, {"data", std::move(data)}});
}

/// Of one VRF and family.
std::string acceptedLine(const ControlRequest& request, Json data) {
  data["vrf"] = request.vrf.text();
  data["address-family"] = enumName(request.af);
  return acceptedLine(std::move(data));
}

std::string_view codeName(RefusalCode code) {
  constexpr std::string_view names[] = {"bad-request", "unknown-vrf", "busy", "too-slow"};
  return names[static_cast<std::size_t>(code)];
}

}  // namespace

std::string answerLine(const ControlTarget& target, const ControlRequest& request) {
  switch (request.command) {
    case ControlRequest::Command::upgrade:
      return acceptedLine(upgrade(target, request));
    case ControlRequest::Command::drain:
      return acceptedLine(drain(target, request.topic));
    case ControlRequest::Command::undrain:
      return acceptedLine(undrain(target));
    case ControlRequest::Command::clear:
      return acceptedLine(request, clear(target, request));
    case ControlRequest::Command::explain:
      return acceptedLine(explain(target.view, request));
    default:
      return acceptedLine(show(target.view, request));
  }
}

std::string reloadedLine(const ReloadOutcome& outcome) {
  return acceptedLine(jsonOf(outcome));
}

std::string refusalLine(RefusalCode code, std::string_view text) {
  constexpr std::size_t longest = 256;  // it may quote what a peer sent
  return lineOf({{"ok", false}, {"code", codeName(code)}, {"error", text.substr(0, longest)}});
}

WatchScope watchScope(const AgentView& view, const ControlRequest& request) {
  const WatchTopic& topic = find(watchTopics, request.topic);
  return {topic.root(instanceOf(view, request)), topic.attributes};
}

bool WatchScope::covers(std::string_view line) const {
  if (attributes.empty()) return true;
  constexpr std::size_t pathStart = 3;  // behind the sign, a blank and a slash
  if (line.size() < pathStart) return false;
  const auto path = line.substr(pathStart);
  const auto first = path.substr(0, path.find_first_of("/[ "));
  return std::find(attributes.begin(), attributes.end(), first) != attributes.end();
}

RpFeed::Scope feedScope(const ControlRequest& request) {
  if (request.topic != "rp-mappings" && request.topic != "events" && request.topic != "changes") {
    throw RequestError(RefusalCode::badRequest, "unknown topic '" + request.topic + "'");
  }
  RpFeed::Scope scope;
  if (request.vrfGiven) scope.vrf = request.vrf;
  if (request.familyGiven) scope.af = request.af;
  return scope;
}

namespace {

std::string eventLine(const Event& event) {
  Json json = eventJson(event, event.time);
  json.erase("age");
  json["operation"] = "event";
  json["vrf"] = event.vrf.text();
  json["address-family"] = enumName(event.af);
  return json.dump();
}

}  // namespace

std::shared_ptr<void> follow(const ControlTarget& target, const ControlRequest& request,
                             const RpFeed::Sink& sink) {
  const RpFeed::Scope scope = feedScope(request);
  std::pair<std::shared_ptr<void>, std::shared_ptr<void>> both;
  if (request.topic != "events") {
    both.first = target.feed.subscribe(scope, sink);
  } else {
    sink(Json{{"operation", "live"}, {"time", RpFeed::utcNow()}}.dump());
  }
  if (request.topic != "rp-mappings") {
    both.second = target.commands.eventFeed().subscribe([scope, sink](const Event& event) {
      if (scope.covers(event.vrf, event.af)) sink(eventLine(event));
    });
  }
  return std::make_shared<decltype(both)>(std::move(both));
}

std::string subscribedLine(const ControlRequest& request) {
  return acceptedLine({{"subscribed", request.topic}});
}

std::string watchAcceptedLine(const ControlRequest& request) {
  return acceptedLine(request, {{"watching", request.topic}});
}

std::string watchChangeLine(std::string_view change) {
  std::string line = R"({"change":)";
  writeJsonString(line, change);
  return line += '}';
}

std::string_view watchLiveLine() {
  return R"({"live":true})";
}

}  // namespace Routing::Agent
