#include "ctl/Run.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>

#include "ctl/Check.h"
#include "ctl/Connection.h"
#include "ctl/Dialogue.h"
#include "ctl/Drain.h"
#include "ctl/Format.h"
#include "ctl/Observe.h"
#include "ctl/Reload.h"
#include "ctl/Render.h"
#include "ctl/Upgrade.h"
#include "ctl/Watch.h"

namespace Routing::Ctl {
namespace {

constexpr double answerTimeout = 5.0;

bool isStream(const Options& options) {
  return options.command == "watch" || options.command == "subscribe";
}

Connection::Deadline deadlineOf(const Options& options) {
  const bool waits = isStream(options) && !options.timeout;
  if (waits) return std::nullopt;
  constexpr double longest = 1e9;  // seconds that every clock can hold
  // Getting ready and leaving office have a time of their own, within this one.
  const double more = options.command == "upgrade" ? upgradeTimeout : options.wait.value_or(0);
  const std::chrono::duration<double> delay(
      std::fmin(options.timeout.value_or(answerTimeout) + more, longest));
  return std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::nanoseconds>(delay);
}

Json requestOf(const Options& options) {
  Json request = {{"command", options.command},
                  {"family", options.family},
                  {"topic", options.topic},
                  {"vrf", options.vrf}};
  for (const auto& [name, value] :
       {std::pair("group", &options.group), std::pair("zone", &options.zone),
        std::pair("rp", &options.rp), std::pair("neighbor", &options.neighbor)}) {
    if (!value->empty()) request[name] = *value;
  }
  if (options.groups.size() == 1) request["group"] = options.groups.front();
  if (options.groups.size() > 1) request["groups"] = options.groups;
  return request;
}

int verdict(const Options& options, const Json& data) {
  const auto lacksRp = [](const Json& answer) { return answer.at("rp").is_null(); };
  const Json answers = data.value("answers", Json::array({data}));
  const bool noRp = options.topic == "rp-hash" && std::ranges::any_of(answers, lacksRp);
  return noRp || data.value("problem", false) ? exitProblem : exitGood;
}

std::string textOf(const Options& options, const Json& data) {
  if (options.command == "show") return render(options.topic, data);
  if (options.command == "explain") return renderExplanation(data);
  const Json& count = data.at("count");
  return options.topic == "counters" ? "" : "Cleared: " + valueText(count) + "\n";
}

int ask(const Options& options, Connection& daemon, std::ostream& out) {
  const Json data = answerTo(daemon, requestOf(options));
  if (options.topic == "yang") {
    out << data.at("operational").dump(2) << "\n";
    return exitGood;
  }
  if (options.json) out << data.dump(2) << "\n";
  const Json parts = data.contains("instances") ? data.at("instances") : Json::array({data});
  int code = exitGood;
  const char* separator = "";
  for (const Json& part : parts) {
    if (!options.json) out << separator << textOf(options, part);
    separator = "\n";
    code = std::max(code, verdict(options, part));
  }
  return code;
}

int carryOut(const Options& options, Connection& daemon, std::ostream& out, std::ostream& err) {
  if (isStream(options)) return watch(options, daemon, out);
  if (options.command == "reload") return reload(options, daemon, out, err);
  if (options.command == "upgrade") return prepareUpgrade(options, daemon, out);
  if (options.command == "drain") return drain(options, daemon, out);
  if (options.command == "undrain") return undrain(options, daemon, out);
  return ask(options, daemon, out);
}

}  // namespace

int run(const Options& options, std::ostream& out, std::ostream& err) {
  const auto complain = [&err](int code, const char* text) {
    err << "pimbsrctl: " << text << "\n";
    return code;
  };
  if (options.command == "observe") return observe(options, out, err);
  if (options.command == "check") return check(options, out);
  try {
    Connection daemon(options.socket, deadlineOf(options));
    const int code = carryOut(options, daemon, out, err);
    return out.flush() ? code : complain(exitProblem, "cannot write the answer");
  } catch (const ConnectionError& error) {
    return complain(error.exitCode(), error.what());
  } catch (const Json::exception& error) {
    return complain(exitUnreachable, "the daemon's answer makes no sense");
  }
}

}  // namespace Routing::Ctl
