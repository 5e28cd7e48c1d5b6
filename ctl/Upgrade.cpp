#include "ctl/Upgrade.h"

#include <algorithm>
#include <ostream>

#include "ctl/Dialogue.h"
#include "ctl/Format.h"

namespace Routing::Ctl {
namespace {

bool isReady(const Json& instance) {
  return instance.at("ready");
}

bool allReady(const Json& data) {
  const Json& instances = data.at("instances");
  return std::all_of(instances.begin(), instances.end(), isReady);
}

std::string lineOf(const Json& instance) {
  return instanceText(instance) + (isReady(instance) ? ": ready\n" : ": not ready\n");
}

}  // namespace

int prepareUpgrade(const Options& options, Connection& daemon, std::ostream& out) {
  const Json data = pollUntil(daemon, {{"command", "upgrade"}, {"topic", "status"}},
                              answerTo(daemon, {{"command", "upgrade"}, {"topic", "prepare"}}),
                              options.timeout.value_or(upgradeTimeout), allReady);
  if (options.json) {
    out << data.dump(2) << "\n";
  } else {
    for (const Json& instance : data.at("instances")) out << lineOf(instance);
  }
  return allReady(data) ? exitGood : exitProblem;
}

}  // namespace Routing::Ctl
