#include "ctl/Upgrade.h"

#include <algorithm>
#include <chrono>
#include <ostream>
#include <thread>

#include "ctl/Dialogue.h"
#include "ctl/Format.h"

namespace Routing::Ctl {
namespace {

using Time = std::chrono::steady_clock;
constexpr std::chrono::milliseconds pollInterval(200);

bool isReady(const Json& instance) {
  return instance.at("ready");
}

bool allReady(const Json& data) {
  const Json& instances = data.at("instances");
  return std::all_of(instances.begin(), instances.end(), isReady);
}

std::string lineOf(const Json& instance) {
  const bool v4 = instance.at("address-family") == "ipv4";
  return "VRF " + valueText(instance.at("vrf")) + (v4 ? ", IPv4: " : ", IPv6: ") +
         (isReady(instance) ? "ready\n" : "not ready\n");
}

}  // namespace

int prepareUpgrade(const Options& options, Connection& daemon, std::ostream& out) {
  const std::chrono::duration<double> patience(options.timeout.value_or(upgradeTimeout));
  const auto start = Time::now();
  Json data = answerTo(daemon, {{"command", "upgrade"}, {"topic", "prepare"}});
  while (!allReady(data) && Time::now() - start < patience) {
    std::this_thread::sleep_for(pollInterval);
    data = answerTo(daemon, {{"command", "upgrade"}, {"topic", "status"}});
  }
  if (options.json) {
    out << data.dump(2) << "\n";
  } else {
    for (const Json& instance : data.at("instances")) out << lineOf(instance);
  }
  return allReady(data) ? exitGood : exitProblem;
}

}  // namespace Routing::Ctl
