#include "sim/cli/ContinuityCommand.h"

#include <fstream>
#include <iostream>

#include "sim/report/ContinuityJson.h"
#include "sim/report/ContinuityText.h"
#include "sim/report/TextReport.h"
#include "sim/scenario/ScenarioParser.h"
#include "sim/sweep/Sweep.h"

namespace Routing::Sim {
namespace {

/// Where remarks go; JSON must not be mixed with them.
std::ostream& remarks(const Options& options, std::ostream& out = std::cout) {
  return options.json ? std::cerr : out;
}

void writeFailure(std::ostream& out, const ScenarioRun& run, const std::string& file) {
  const RunOptions& options = run.options();
  out << "seed " << options.seed << "  " << run.scenario().name << "  FAILED\n";
  writeFailures(out, run);
  out << "again with: pimbsr-sim run " << file << " --seed " << options.seed
      << (options.faults ? " --faults" : "") << "\n";
}

/// Every run is measured to its end.
RunOptions wholeRun(const Options& options, std::uint64_t seed) {
  return {seed, options.faults, std::nullopt, Promise::Broken::isNoted};
}

RunResult runOnce(const Options& options, const ContinuityStudy& study, std::uint64_t seed,
                  std::ostream& out) {
  ScenarioRun run(study.scenario(), wholeRun(options, seed));
  run.run();
  if (!run.passed()) writeFailure(remarks(options, out), run, study.file());
  return {seed, run.passed(), false, run.digest(), run.judged(), run.skipped(), study.figures(run)};
}

void writeStudy(const Options& options, const ContinuityStudy& study) {
  std::cout << study.scenario().name << ": seeds " << options.firstSeed << ".." << options.lastSeed
            << (options.faults ? " with faults" : "") << ", " << study.failed() << " failed\n";
  writeContinuity(std::cout, study);
  std::cout << std::endl;
}

/// Repeats the run that is most worth a look, for its picture.
void lookClosely(const Options& options, ContinuityStudy& study) {
  const auto seed = study.tellingSeed();
  if (!seed) return;
  ScenarioRun run(study.scenario(), wholeRun(options, *seed));
  const Timeline timeline(run.world(), run.beliefs());
  run.run();
  study.detailIs(run, timeline);
}

std::unique_ptr<ContinuityStudy> studyOf(const Options& options, const std::string& file) {
  auto study = std::make_unique<ContinuityStudy>(file, readScenario(file));
  const auto results = eachSeed(
      options.seeds(), options.jobs,
      [&](std::uint64_t seed, std::ostream& out) { return runOnce(options, *study, seed, out); });
  for (const RunResult& result : results) {
    study->add(result.seed, result.passed, result.figures);
    if (result.died) {
      remarks(options) << "seed " << result.seed << "  " << study->scenario().name << "  DIED\n";
    }
  }
  if (!options.json) writeStudy(options, *study);
  if (!options.html.empty()) lookClosely(options, *study);
  return study;
}

bool writePage(const Options& options, const ContinuityStudies& studies) {
  std::ofstream out(options.html);
  out << continuityHtml(studies);
  if (!out.flush()) std::cerr << "pimbsr-sim: cannot write " << options.html << "\n";
  return static_cast<bool>(out);
}

}  // namespace

int continuityCommand(const Options& options) {
  ContinuityStudies studies;
  std::uint64_t failed = 0;
  for (const std::string& file : options.files) {
    studies.push_back(studyOf(options, file));
    failed += studies.back()->failed();
  }
  if (options.json) std::cout << continuityJson(studies) << "\n";
  if (!options.html.empty() && !writePage(options, studies)) return 1;
  return failed == 0 ? 0 : 1;
}

}  // namespace Routing::Sim
