#include "ctl/Reload.h"

#include <ostream>

#include "config/model/Finding.h"
#include "ctl/Dialogue.h"

namespace Routing::Ctl {
namespace {

using Agent::Finding;
using Agent::Severity;

Finding findingOf(const Json& json) {
  const std::string word = json.at("severity");
  const Severity severity = word == "error"     ? Severity::error
                            : word == "warning" ? Severity::warning
                                                : Severity::information;
  const Json& line = json.at("line");
  return {severity, line.is_null() ? 0 : line.get<unsigned>(), json.at("path"), json.at("text")};
}

}  // namespace

int reload(const Options& options, Connection& daemon, std::ostream& out, std::ostream& err) {
  const Json data = answerTo(daemon, {{"command", "reload"}});
  const bool good = data.at("good");
  const std::string file = data.at("file");
  if (options.json) {
    out << data.dump(2) << "\n";
    return good ? exitGood : exitProblem;
  }
  for (const Json& each : data.at("findings")) {
    const Finding finding = findingOf(each);
    if (finding.severity != Severity::information) err << fileText(file, finding) << "\n";
  }
  const bool changed = data.at("changed");
  const bool undrained = data.at("undrained");
  out << file
      << (!good     ? ": refused, nothing has changed"
          : changed ? ": applied"
                    : ": unchanged")
      << (undrained ? ", no longer drained\n" : "\n");
  return good ? exitGood : exitProblem;
}

}  // namespace Routing::Ctl
