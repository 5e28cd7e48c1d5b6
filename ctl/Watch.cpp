#include "ctl/Watch.h"

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string_view>
#include <vector>

#include "ctl/Dialogue.h"
#include "ctl/Format.h"
#include "ctl/Render.h"

namespace Routing::Ctl {
namespace {

/// What a topic of `watch` is about: events whose names begin so, and the RPs in use.
struct Interest {
  std::string_view topic;
  std::vector<std::string_view> events;
  bool mappings = false;
};

const Interest interests[] = {
    {"bsr", {"zone-", "bsr-", "election-", "candidate-bsr-", "started"}},
    {"rp-set", {"rp-set-", "candidate-rp-", "foreign-", "limit-"}, true},
    {"neighbor", {"neighbor-"}},
    {"events", {""}},
};

const Interest* interestOf(const Options& options) {
  const auto found = std::ranges::find(interests, options.topic, &Interest::topic);
  return options.raw || found == std::end(interests) ? nullptr : &*found;
}

bool concerns(const Interest& interest, const Json& line) {
  const std::string operation = line.value("operation", "");
  if (operation != "event") return operation != "present" && operation != "live";
  const std::string kind = line.at("event");
  return std::ranges::any_of(interest.events,
                             [&](std::string_view start) { return kind.starts_with(start); });
}

std::string mappingText(const Json& line) {
  const std::string what =
      "RP " + valueText(line.at("rp-address")) + " for " + valueText(line.at("group-range"));
  if (line.at("operation") == "remove") return what + " is gone";
  return what + (line.at("operation") == "add" ? " is new: " : " has changed: ") +
         valueText(line.at("mode")) + ", priority " + valueText(line.at("priority")) + ", zone " +
         valueText(line.at("zone"));
}

/// "2026-11-22T07:24:16Z", whatever parts of a second there are.
std::string timeOf(const Json& line) {
  constexpr std::size_t toSeconds = 19;
  return valueText(line.at("time")).substr(0, toSeconds) + "Z";
}

std::string wordsOf(const Json& line) {
  const std::string text = line.contains("text") ? valueText(line.at("text")) : mappingText(line);
  return wrapped(timeOf(line) + "  " + text, 0, 22);
}

std::string rawText(const Json& line) {
  return line.contains("change") ? valueText(line.at("change")) + "\n" : "";
}

Json instanceRequest(const Options& options, const char* command, const std::string& topic) {
  return {{"command", command}, {"topic", topic}, {"family", options.family}, {"vrf", options.vrf}};
}

Json requestOf(const Options& options, const Interest* interest) {
  if (options.command == "watch") {
    if (interest != nullptr) {
      return instanceRequest(options, "subscribe", interest->mappings ? "changes" : "events");
    }
    Json request = instanceRequest(options, "watch", options.topic);
    request["snapshot"] = options.snapshot;
    return request;
  }
  Json request = {{"command", "subscribe"}, {"topic", options.topic}};
  if (options.onlyVrf) request["vrf"] = *options.onlyVrf;
  if (!options.family.empty()) request["family"] = options.family;
  return request;
}

/// Asked for once changes are followed, by another connection: none is lost in between. Where it is
/// not wanted something small is asked for, so that a VRF that is not there is refused all the
/// same.
void showPresent(const Options& options, std::ostream& out) {
  Connection daemon(options.socket, std::chrono::steady_clock::now() + std::chrono::seconds(5));
  const std::string topic = options.snapshot ? options.topic : "interface";
  const Json data = answerTo(daemon, instanceRequest(options, "show", topic));
  if (!options.snapshot) return;
  if (options.json) {
    out << Json{{"operation", "present"}, {options.topic, data}}.dump() << std::endl;
  } else {
    out << render(options.topic, data) << std::endl;
  }
}

using Telling = std::function<std::string(const Json& line)>;

Telling tellingOf(const Options& options, const Interest* interest) {
  const bool asJson = options.json || options.command == "subscribe";
  return [interest, asJson](const Json& line) -> std::string {
    if (interest != nullptr && !concerns(*interest, line)) return "";
    if (asJson) return line.dump() + "\n";
    return interest == nullptr ? rawText(line) : wordsOf(line);
  };
}

/// Until the daemon or the reader ends it.
void tell(Connection& daemon, const Telling& telling, std::ostream& out) {
  while (out.good()) {
    const Json line = readAnswer(daemon);
    expectGood(line);
    out << telling(line) << std::flush;
  }
}

}  // namespace

int watch(const Options& options, Connection& daemon, std::ostream& out) {
  const Interest* interest = options.command == "watch" ? interestOf(options) : nullptr;
  answerTo(daemon, requestOf(options, interest));
  if (interest != nullptr) showPresent(options, out);
  try {
    tell(daemon, tellingOf(options, interest), out);
  } catch (const ConnectionError& error) {
    if (error.exitCode() != exitTimedOut) throw;  // its time was up: all went well
  }
  return exitGood;
}

}  // namespace Routing::Ctl
