#include "ctl/Check.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "config/file/ConfigFile.h"
#include "config/judge/Forecast.h"

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

template <class Value>
Json valueOrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json(nullptr);
}

Json jsonOf(const Agent::Forecast& forecast) {
  const Agent::FailoverTerms& terms = forecast.terms;
  return {{"bsr-elected", forecast.elected},
          {"completed", forecast.completed},
          {"rp-holdtime", forecast.rpsLive},
          {"without-rp", forecast.withoutRp},
          {"needed-rp-candidate-interval", valueOrNull(forecast.rpInterval)},
          {"needed-hold-time", valueOrNull(forecast.holdTime)},
          {"hold-time", terms.holdTime},
          {"priority", terms.candidate.priority},
          {"interval", terms.candidate.interval},
          {"rp-candidate-interval", terms.rpInterval},
          {"bsr-candidate-assumed", terms.candidateAssumed},
          {"rp-candidate-assumed", terms.rpIntervalAssumed}};
}

/// How a failover goes at worst, in every VRF and family of a configuration that can be used.
Json forecastsOf(const LoadedConfig& loaded) {
  Json forecasts = Json::array();
  if (!loaded.config) return forecasts;
  for (const auto& [vrf, families] : loaded.config->vrfs) {
    for (const auto& [af, settings] : families) {
      Json forecast = jsonOf(worstForecast(settings, af));
      forecast["vrf"] = vrf.text();
      forecast["address-family"] = enumName(af);
      forecasts.push_back(std::move(forecast));
    }
  }
  return forecasts;
}

Json jsonOf(const std::string& file, const LoadedConfig& loaded) {
  Json findings = Json::array();
  for (const Finding& finding : loaded.findings) {
    findings.push_back({{"severity", severityText(finding.severity)},
                        {"line", finding.line == 0 ? Json() : Json(finding.line)},
                        {"path", finding.path},
                        {"text", finding.text}});
  }
  return {{"file", file},
          {"good", loaded.config.has_value()},
          {"findings", findings},
          {"forecasts", forecastsOf(loaded)}};
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
