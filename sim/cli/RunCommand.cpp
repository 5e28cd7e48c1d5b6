#include "sim/cli/RunCommand.h"

#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>

#include "platform/trace/Trace.h"
#include "sim/report/HtmlReport.h"
#include "sim/report/JsonReport.h"
#include "sim/report/PcapWriter.h"
#include "sim/report/Recorder.h"
#include "sim/report/TextReport.h"
#include "sim/report/Timeline.h"
#include "sim/scenario/ScenarioParser.h"
#include "sim/scenario/ScenarioRun.h"
#include "sim/sweep/Sweep.h"

namespace Routing::Sim {
namespace {

/// Prints the library's traces with the time of the run.
class TracePrinter final : public TraceSink {
 public:
  TracePrinter(const World& world, const Options& options) : world_(world) {
    for (const auto& [facility, level] : options.traces) traceThresholdIs(facility, level);
    if (!options.traces.empty()) traceSinkIs(*this);
  }
  ~TracePrinter() override { traceSinkDel(*this); }
  TracePrinter(const TracePrinter&) = delete;
  TracePrinter& operator=(const TracePrinter&) = delete;
  void trace(std::string_view facility, int level, std::string_view text) override {
    std::cout << std::fixed << std::setprecision(3) << std::setw(10) << world_.now() << "    ["
              << facility << " " << level << "] " << text << "\n";
  }

 private:
  const World& world_;
};

std::string hex(std::uint64_t digest) {
  std::ostringstream text;
  text << std::hex << std::setw(16) << std::setfill('0') << digest;
  return text.str();
}

void writeReplay(std::ostream& out, const Options& options, const std::string& file,
                 std::uint64_t seed) {
  out << "again with: pimbsr-sim run " << file << " --seed " << seed
      << (options.faults ? " --faults" : "");
  if (options.until) out << " --until " << *options.until;
  if (!options.configs.empty()) out << " --configs " << options.configs;
  out << "\n";
}

/// "2 of 9 expectations", "9 expectations held"; of a run that passed "9 expectations".
std::string judged(bool passed, std::size_t failed, std::size_t all, const std::string& what) {
  std::string counted = std::to_string(all) + ' ' + what;
  if (passed) return counted;
  return failed == 0 ? counted + " held" : std::to_string(failed) + " of " + counted;
}

std::string verdict(const ScenarioRun& run) {
  std::ostringstream text;
  text << (run.passed() ? "passed" : "FAILED") << "  "
       << judged(run.passed(), run.disappointments().size(), run.judged(), "expectations");
  if (run.skipped() > 0) text << " (" << run.skipped() << " not quiet)";
  std::set<std::string> broken;
  for (const Violation& violation : run.invariants().violations())
    broken.insert(violation.invariant);
  text << ", "
       << judged(run.passed(), broken.size(), run.invariants().invariants().size(), "invariants")
       << " after " << run.world().events() << " events, " << run.world().packets()
       << " packets, digest " << hex(run.digest());
  return text.str();
}

/// What may be written beside the text of a single run.
struct Extras {
  std::unique_ptr<PcapWriter> pcap;
  std::unique_ptr<Recorder> recorder;

  Extras(const Options& options, ScenarioRun& run) {
    if (!options.pcap.empty()) pcap = std::make_unique<PcapWriter>(run.world(), options.pcap);
    if (!options.html.empty()) recorder = std::make_unique<Recorder>(run.world(), run.beliefs());
  }
  bool write(const Options& options, const ScenarioRun& run, const Timeline& timeline) const {
    if (pcap && !pcap->good()) {
      std::cerr << "pimbsr-sim: cannot write " << options.pcap << "\n";
      return false;
    }
    if (!recorder) return true;
    std::ofstream out(options.html);
    out << htmlReport(run, timeline, *recorder);
    if (!out.flush()) std::cerr << "pimbsr-sim: cannot write " << options.html << "\n";
    return static_cast<bool>(out);
  }
};

RunOptions runOptions(const Options& options, std::uint64_t seed) {
  return {seed, options.faults, options.until,
          options.goOn ? Promise::Broken::isNoted : Promise::Broken::endsTheRun};
}

int runOne(const Options& options, const Scenario& scenario, const std::string& file,
           std::uint64_t seed) {
  if (!options.json) {
    std::cout << "seed " << seed << "  " << scenario.name << (options.faults ? ", with faults" : "")
              << "\n";
  }
  ScenarioRun run(scenario, runOptions(options, seed));
  Timeline timeline(run.world(), run.beliefs());
  const Extras extras(options, run);
  const TracePrinter printer(run.world(), options);
  run.run();
  if (options.json) {
    std::cout << jsonReport(run, timeline) << "\n";
  } else {
    if (!options.quiet) {
      writeTimeline(std::cout, timeline);
      writeTables(std::cout, run);
      std::cout << "\n";
    }
    writeFailures(std::cout, run);
    std::cout << verdict(run) << "\n";
    if (!run.passed()) writeReplay(std::cout, options, file, seed);
  }
  return extras.write(options, run, timeline) && run.passed() ? 0 : 1;
}

/// One of many runs: nothing is written unless it failed.
RunResult runBriefly(const Options& options, const Scenario& scenario, const std::string& file,
                     std::uint64_t seed, std::ostream& out) {
  ScenarioRun run(scenario, runOptions(options, seed));
  run.run();
  if (!run.passed()) {
    out << "seed " << seed << "  " << scenario.name << "  FAILED\n";
    writeFailures(out, run);
    writeReplay(out, options, file, seed);
  }
  return {seed, run.passed(), false, run.digest(), run.judged(), run.skipped(), {}};
}

/// One line that sums up the runs of a scenario. Returns whether all passed.
bool summarize(const Options& options, const Scenario& scenario, const std::string& file,
               const std::vector<RunResult>& results) {
  Digest digest;
  std::uint64_t failed = 0, judged = 0, skipped = 0;
  for (const RunResult& result : results) {
    failed += !result.passed;
    judged += result.judged;
    skipped += result.skipped;
    digest.add(result.digest);
    if (!result.died) continue;
    std::cout << "seed " << result.seed << "  " << scenario.name << "  DIED\n";
    writeReplay(std::cout, options, file, result.seed);
  }
  std::cout << scenario.name << ": seeds " << options.firstSeed << ".." << options.lastSeed
            << (options.faults ? " with faults" : "") << ", " << failed << " failed, " << judged
            << " expectations judged";
  if (skipped > 0) std::cout << " (" << skipped << " not quiet)";
  std::cout << ", digest " << hex(digest.value()) << std::endl;
  return failed == 0;
}

int runMany(const Options& options, const std::vector<Scenario>& scenarios) {
  bool passed = true;
  for (std::size_t i = 0; i < scenarios.size(); ++i) {
    const std::string& file = options.files[i];
    const auto results =
        eachSeed(options.seeds(), options.jobs, [&](std::uint64_t seed, std::ostream& out) {
          return runBriefly(options, scenarios[i], file, seed, out);
        });
    passed &= summarize(options, scenarios[i], file, results);
  }
  return passed ? 0 : 1;
}

}  // namespace

int runCommand(const Options& options) {
  std::vector<Scenario> scenarios;
  for (const std::string& file : options.files) {
    scenarios.push_back(options.configs.empty() ? readScenario(file)
                                                : readNetwork(file, options.configs));
  }
  if (options.manyRuns()) return runMany(options, scenarios);
  return runOne(options, scenarios.front(), options.files.front(), options.firstSeed);
}

}  // namespace Routing::Sim
