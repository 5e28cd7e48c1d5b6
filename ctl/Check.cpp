#include "ctl/Check.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "agent/config/ConfigFile.h"

namespace Routing::Ctl {
namespace {

using Agent::Finding;
using Agent::Findings;
using Agent::LoadedConfig;
using Agent::Severity;
using Json = nlohmann::json;

std::size_t countOf(const Findings& findings, Severity severity) {
  return static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [severity](const Finding& finding) { return finding.severity == severity; }));
}

std::string summary(const LoadedConfig& loaded) {
  const auto count = [&loaded](Severity severity, const std::string& word) {
    const std::size_t n = countOf(loaded.findings, severity);
    return std::to_string(n) + ' ' + word + (n == 1 ? "" : "s");
  };
  return std::string(loaded.config ? "good" : "cannot be used") + ", " +
         count(Severity::error, "error") + ", " + count(Severity::warning, "warning");
}

Json jsonOf(const std::string& file, const LoadedConfig& loaded) {
  Json findings = Json::array();
  for (const Finding& finding : loaded.findings) {
    findings.push_back({{"severity", severityText(finding.severity)},
                        {"line", finding.line == 0 ? Json() : Json(finding.line)},
                        {"path", finding.path},
                        {"text", finding.text}});
  }
  return {{"file", file}, {"good", loaded.config.has_value()}, {"findings", findings}};
}

}  // namespace

int check(const Options& options, std::ostream& out) {
  const LoadedConfig loaded = Agent::loadConfig(options.file);
  if (options.json) {
    const Json json = jsonOf(options.file, loaded);
    out << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
  } else {
    for (const Finding& finding : loaded.findings) out << fileText(options.file, finding) << "\n";
    out << options.file << ": " << summary(loaded) << "\n";
  }
  if (!loaded.config) return exitBadConfig;
  const bool warned = countOf(loaded.findings, Severity::warning) != 0;
  return options.strict && warned ? exitProblem : exitGood;
}

}  // namespace Routing::Ctl
