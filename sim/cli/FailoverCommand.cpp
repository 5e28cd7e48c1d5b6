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

}  // namespace

int failoverCommand(const Options& options) {
  const Scenario scenario = readScenario(options.files.front());
  std::vector<double> durations;
  double bound = 0;
  bool good = true;
  std::cout << "seeds " << options.firstSeed << ".." << options.lastSeed << "  " << scenario.name
            << "\n";
  for (std::uint64_t seed = options.firstSeed; seed <= options.lastSeed; ++seed) {
    ScenarioRun run(scenario, {seed, false, std::nullopt});
    FailoverMeter meter(run.world(), run.beliefs(),
                        IpGenPrefix::multicast(scenario.families.front()));
    run.run();
    bound = failoverBound(run.world());
    const bool late = std::any_of(meter.durations().begin(), meter.durations().end(),
                                  [&](double duration) { return duration > bound; });
    if (!run.passed() || late || meter.pending()) {
      good = false;
      writeFailures(std::cout, run);
      std::cout << "seed " << seed << (late || meter.pending() ? " takes too long" : " fails")
                << "; again with: pimbsr-sim failover " << options.files.front() << " --seed "
                << seed << "\n";
    }
    durations.insert(durations.end(), meter.durations().begin(), meter.durations().end());
  }
  if (durations.empty()) {
    std::cout << "no elected BSR died in this scenario\n";
    return 1;
  }
  writeDistribution(Distribution(std::move(durations)), bound);
  return good ? 0 : 1;
}

}  // namespace Routing::Sim
