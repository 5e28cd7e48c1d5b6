#include "sim/cli/ContinuityCommand.h"

#include <iostream>

#include "sim/cli/Jobs.h"
#include "sim/report/ContinuityStudy.h"
#include "sim/report/ContinuityText.h"
#include "sim/report/TextReport.h"
#include "sim/scenario/ScenarioParser.h"
#include "sim/scenario/ScenarioRun.h"

namespace Routing::Sim {
namespace {

RunResult runOnce(const Options& options, const ContinuityStudy& study, const std::string& file,
                  std::uint64_t seed, std::ostream& out) {
  ScenarioRun run(study.scenario(), {seed, options.faults, std::nullopt});
  run.run();
  if (!run.passed()) {
    out << "seed " << seed << "  " << study.scenario().name << "  FAILED\n";
    writeFailures(out, run);
    out << "again with: pimbsr-sim run " << file << " --seed " << seed
        << (options.faults ? " --faults" : "") << "\n";
  }
  return {seed,
          run.passed(),
          false,
          run.digest(),
          run.judged(),
          run.skipped(),
          study.figures(run.invariants().continuity())};
}

/// Returns the number of runs that failed.
std::uint64_t study(const Options& options, const std::string& file) {
  const Scenario scenario = readScenario(file);
  ContinuityStudy study(scenario);
  const auto results = eachSeed(options, [&](std::uint64_t seed, std::ostream& out) {
    return runOnce(options, study, file, seed, out);
  });
  std::uint64_t failed = 0;
  for (const RunResult& result : results) {
    failed += !result.passed;
    study.add(result.seed, result.figures);
    if (result.died) std::cout << "seed " << result.seed << "  " << scenario.name << "  DIED\n";
  }
  std::cout << scenario.name << ": seeds " << options.firstSeed << ".." << options.lastSeed
            << (options.faults ? " with faults" : "") << ", " << failed << " failed\n";
  writeContinuity(std::cout, study);
  std::cout << std::endl;
  return failed;
}

}  // namespace

int continuityCommand(const Options& options) {
  std::uint64_t failed = 0;
  for (const std::string& file : options.files) failed += study(options, file);
  return failed == 0 ? 0 : 1;
}

}  // namespace Routing::Sim
