#include "sim/cli/Options.h"

#include <iostream>

#include "cli/CommandLine.h"

namespace Routing::Sim {
namespace {

std::uint64_t seedOf(const std::string& text) {
  std::size_t used = 0;
  std::uint64_t seed = 0;
  try {
    seed = std::stoull(text, &used);
  } catch (const std::exception&) {
    used = 0;
  }
  if (used == 0 || used != text.size() || text.front() == '-') {
    throw CLI::ValidationError("seed", "\"" + text + "\" is not a number");
  }
  return seed;
}

void seedsOf(const std::string& text, Options& options) {
  const auto dots = text.find("..");
  options.firstSeed = seedOf(text.substr(0, dots));
  options.lastSeed = dots == std::string::npos ? options.firstSeed : seedOf(text.substr(dots + 2));
  if (options.lastSeed < options.firstSeed) {
    throw CLI::ValidationError("seeds", "the last seed is before the first");
  }
}

void traceOf(const std::string& text, Options& options) {
  const auto equal = text.find('=');
  const std::string level = equal == std::string::npos ? "9" : text.substr(equal + 1);
  if (level.size() != 1 || level[0] < '0' || level[0] > '9') {
    throw CLI::ValidationError("--trace", "a level is 0 to 9, as in Pim::Bsr=4");
  }
  options.traces.emplace_back(text.substr(0, equal), level[0] - '0');
}

void addCommon(CLI::App& command, Options& options) {
  command
      .add_option_function<std::string>(
          "--seed", [&](const std::string& text) { seedsOf(text, options); },
          "where all chance of the run comes from")
      ->type_name("SEED");
  command
      .add_option_function<std::string>(
          "--seeds", [&](const std::string& text) { seedsOf(text, options); },
          "many runs, one for each seed from A to B")
      ->type_name("A..B");
  command.add_option("--jobs", options.jobs, "runs at the same time, each in its own process")
      ->type_name("NUMBER")
      ->check(CLI::Range(1, 64));
}

void addRun(CLI::App& app, Options& options) {
  CLI::App& run = *app.add_subcommand("run", "Runs scenarios and judges them");
  run.add_option("FILE", options.files, "scenario files")->required();
  addCommon(run, options);
  run.add_flag("--faults", options.faults, "plagues the network with random faults");
  run.add_flag("--go-on", options.goOn, "goes on after a broken promise of service");
  run.add_option("--until", options.until, "ends the run at this second")->type_name("SECONDS");
  run.add_option(
         "--configs", options.configs,
         "the folder of what is configured: ROUTER.yaml for each router, as pimbsrd reads it")
      ->type_name("DIRECTORY");
  run.add_option("--pcap", options.pcap, "writes every packet to this file")->type_name("FILE");
  run.add_option("--html", options.html, "writes a page that shows the run to this file")
      ->type_name("FILE");
  run.add_flag("--json", options.json, "prints JSON");
  run.add_flag("--quiet", options.quiet, "prints no timeline and no tables");
  run.add_option_function<std::vector<std::string>>(
         "--trace",
         [&](const std::vector<std::string>& texts) {
           for (const std::string& text : texts) traceOf(text, options);
         },
         "prints the library's traces")
      ->type_name("FACILITY=LEVEL");
  run.callback([&] {
    options.command = Options::Command::run;
    const bool shown = options.json || !options.pcap.empty() || !options.html.empty();
    if (options.manyRuns() && (shown || !options.traces.empty())) {
      throw CLI::ValidationError("run", "--json, --pcap, --html and --trace show a single run");
    }
  });
}

void addContinuity(CLI::App& app, Options& options) {
  CLI::App& continuity = *app.add_subcommand(
      "continuity", "Measures for how long routers are without BSR or RPs, or disagree on them");
  continuity.add_option("FILE", options.files, "scenario files")->required();
  addCommon(continuity, options);
  continuity.add_flag("--faults", options.faults, "plagues the network with random faults");
  continuity.add_flag("--json", options.json, "prints JSON");
  continuity.add_option("--html", options.html, "writes a page with pictures to this file")
      ->type_name("FILE");
  continuity.callback([&] { options.command = Options::Command::continuity; });
}

void addRehearse(CLI::App& app, Options& options) {
  CLI::App& rehearse = *app.add_subcommand(
      "rehearse", "Tries a change of configuration and says what the network notices of it");
  rehearse.add_option("TOPOLOGY", options.files, "the file that says how the network is wired")
      ->required()
      ->expected(1);
  rehearse.add_option("--from", options.configs, "the folder of the files before: ROUTER.yaml")
      ->type_name("DIRECTORY")
      ->required();
  rehearse.add_option("--to", options.to, "the folder of the files after")
      ->type_name("DIRECTORY")
      ->required();
  rehearse
      .add_option("--order", options.order,
                  "who loads its file when: all at once, one-by-one, or routers as r1,r2,...")
      ->type_name("ORDER");
  rehearse.add_option("--pause", options.pause, "from one router to the next")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, 1e6));
  rehearse
      .add_option_function<std::string>(
          "--fail", [&](const std::string&) { options.failEach = true; },
          "each-router: tries it again without each router in turn")
      ->type_name("WHOM")
      ->check(CLI::IsMember({"each-router"}));
  rehearse
      .add_option_function<std::string>(
          "--seed", [&](const std::string& text) { seedsOf(text, options); },
          "where all chance of the run comes from")
      ->type_name("SEED");
  rehearse.add_option("--json", options.jsonFile, "writes tables as JSON to this file")
      ->type_name("FILE");
  rehearse.add_option("--html", options.html, "writes a page that shows the telling run")
      ->type_name("FILE");
  rehearse.callback([&] { options.command = Options::Command::rehearse; });
}

void addFailover(CLI::App& app, Options& options) {
  CLI::App& failover = *app.add_subcommand(
      "failover", "Measures how long it takes from the death of the BSR until all agree again");
  failover.add_option("FILE", options.files, "a scenario in which the elected BSR dies")
      ->required()
      ->expected(1);
  addCommon(failover, options);
  failover.callback([&] { options.command = Options::Command::failover; });
}

void addScale(CLI::App& app, Options& options) {
  CLI::App& scale =
      *app.add_subcommand("scale", "Measures a large torus: speed, memory, agreement");
  scale.add_option("--columns", options.columns, "of routers")
      ->type_name("NUMBER")
      ->check(CLI::Range(3, 1000));
  scale.add_option("--rows", options.rows, "of routers")
      ->type_name("NUMBER")
      ->check(CLI::Range(3, 1000));
  scale.add_option("--rps", options.rps, "candidate RPs")
      ->type_name("NUMBER")
      ->check(CLI::Range(0, 250));
  scale.add_option("--seconds", options.seconds, "simulated")
      ->type_name("SECONDS")
      ->check(CLI::Range(1.0, 1e6));
  addCommon(scale, options);
  scale.callback([&] { options.command = Options::Command::scale; });
}

void addReplay(CLI::App& app, Options& options) {
  CLI::App& replay = *app.add_subcommand(
      "replay", "Has a router hear a capture, and says what it knows at the end");
  replay.add_option("FILE", options.files, "a capture file")->required()->expected(1);
  replay.add_flag("--json", options.json, "prints JSON");
  replay.callback([&] { options.command = Options::Command::replay; });
}

}  // namespace

std::optional<int> readOptions(int argc, char** argv, Options& options) {
  CLI::App app("Runs bootstrap routers in a simulated network", "pimbsr-sim");
  app.set_version_flag("--version", "pimbsr-sim " PIMBSR_VERSION);
  app.require_subcommand(1);
  addRun(app, options);
  addContinuity(app, options);
  addFailover(app, options);
  addRehearse(app, options);
  addScale(app, options);
  addReplay(app, options);
  const auto early = Cli::parse(app, argc, argv);
  if (!early) return std::nullopt;
  (early->code == 0 ? std::cout : std::cerr) << early->text;
  return early->code;
}

}  // namespace Routing::Sim
