#include "sim/cli/FailoverCommand.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <map>
#include <utility>

#include "sim/core/Distribution.h"
#include "sim/report/TextReport.h"
#include "sim/scenario/FailoverMeter.h"
#include "sim/scenario/ScenarioParser.h"
#include "sim/scenario/ScenarioRun.h"
#include "sim/sweep/Sweep.h"

namespace Routing::Sim {
namespace {

constexpr double bin = 5.0;  // seconds
constexpr std::size_t widest = 60;

void writeDistribution(const Distribution& durations, double bound) {
  std::map<long, std::size_t> bins;
  for (const double duration : durations.values()) ++bins[std::lround(std::floor(duration / bin))];
  std::size_t highest = 1;
  for (const auto& [number, count] : bins) highest = std::max(highest, count);
  for (const auto& [number, count] : bins) {
    std::cout << std::setw(6) << static_cast<double>(number) * bin << " s  " << std::setw(6)
              << count << "  " << std::string((count * widest + highest - 1) / highest, '#')
              << "\n";
  }
  std::cout << std::fixed << std::setprecision(3) << durations.values().size()
            << " failovers: shortest " << durations.at(0) << ", median " << durations.at(0.5)
            << ", 99% " << durations.at(0.99) << ", longest " << durations.at(1) << " s; bound "
            << bound << " s\n";
}

/// The figures are the bound and the durations of all failovers.
RunResult meter(const Scenario& scenario, const std::string& file, std::uint64_t seed,
                std::ostream& out) {
  ScenarioRun run(scenario, {seed, false, std::nullopt});
  FailoverMeter meter(run.world(), run.beliefs(),
                      IpGenPrefix::multicast(scenario.families.front()));
  run.run();
  std::vector<double> figures{failoverBound(run.world())};
  figures.insert(figures.end(), meter.durations().begin(), meter.durations().end());
  const bool late = *std::max_element(figures.begin(), figures.end()) > figures.front();
  const bool slow = late || meter.pending();
  if (!run.passed() || slow) {
    writeFailures(out, run);
    out << "seed " << seed << (slow ? " takes too long" : " fails")
        << "; again with: pimbsr-sim failover " << file << " --seed " << seed << "\n";
  }
  return {seed, run.passed() && !slow, false, run.digest(), 0, 0, std::move(figures)};
}

}  // namespace

int failoverCommand(const Options& options) {
  const std::string& file = options.files.front();
  const Scenario scenario = readScenario(file);
  std::cout << "seeds " << options.firstSeed << ".." << options.lastSeed << "  " << scenario.name
            << "\n";
  const auto results = eachSeed(
      options.seeds(), options.jobs,
      [&](std::uint64_t seed, std::ostream& out) { return meter(scenario, file, seed, out); });
  std::vector<double> durations;
  double bound = 0;
  bool good = true;
  for (const RunResult& result : results) {
    if (result.died) std::cout << "seed " << result.seed << " DIED\n";
    good &= result.passed;
    if (result.figures.empty()) continue;
    bound = result.figures.front();
    durations.insert(durations.end(), result.figures.begin() + 1, result.figures.end());
  }
  if (durations.empty()) {
    std::cout << "no elected BSR died in this scenario\n";
    return 1;
  }
  writeDistribution(Distribution(std::move(durations)), bound);
  return good ? 0 : 1;
}

}  // namespace Routing::Sim
