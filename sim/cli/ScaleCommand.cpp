#include "sim/cli/ScaleCommand.h"

#include <sys/resource.h>

#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <string>

#include "sim/core/Configs.h"
#include "sim/report/TextReport.h"
#include "sim/scenario/Expectations.h"
#include "sim/scenario/ScenarioRun.h"

namespace Routing::Sim {
namespace {

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Processor time, so that what else the machine does hardly matters.
double processorTime() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Octets, of this program alone; what getrusage() says may be that of who started it.
double peakMemory() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word && word != "VmHWM:") continue;
  double kibibytes = 0.0;
  status >> kibibytes;
  return kibibytes * 1024.0;
}

Scenario torus(const Options& options) {
  Scenario scenario;
  scenario.name = "torus";
  scenario.topology.addTorus(options.columns, options.rows);
  scenario.duration = options.seconds;
  const auto routers = static_cast<RouterId>(scenario.topology.routers().size());
  const auto af = AddressFamily::ipv4;
  const IpGenPrefix all = IpGenPrefix::multicast(af);
  const auto settings = [&](RouterId router) -> Agent::FamilySettings& {
    auto& config = scenario.configs[router];
    config = onAllNetworks(config, scenario.topology, router, {af});
    return settingsOf(config, af);
  };
  settings(0).bsrCandidates["lo"].zones[all].priority = 200;
  settings(routers / 2).bsrCandidates["lo"].zones[all].priority = 100;
  std::vector<IpGenAddr> rps;
  for (unsigned i = 0; i < options.rps; ++i) {
    const auto router = static_cast<RouterId>(std::uint64_t{i} * routers / options.rps);
    settings(router).rpCandidates["lo"].ranges[all] = {};
    rps.push_back(Topology::loopback(router, af));
  }
  scenario.finally.push_back(expectBsr(0, {}, all, Topology::loopback(0, af)));
  scenario.finally.push_back(expectRpSet(0, {}, all, rps));
  return scenario;
}

}  // namespace

int scaleCommand(const Options& options) {
  const Scenario scenario = torus(options);
  const double before = peakMemory();
  const double start = processorTime();
  auto run =
      std::make_unique<ScenarioRun>(scenario, RunOptions{options.firstSeed, false, std::nullopt});
  const std::size_t routers = scenario.topology.routers().size();
  std::cout << std::fixed << std::setprecision(2) << "seed " << options.firstSeed << "  " << routers
            << " routers, " << options.rps << " candidate RPs, " << options.seconds
            << " s simulated\nbuilt in " << processorTime() - start << " s, "
            << (peakMemory() - before) / static_cast<double>(routers) / 1024 << " KiB a router\n";
  const double began = processorTime();
  run->run();
  const double took = processorTime() - began;
  const World& world = run->world();
  writeFailures(std::cout, *run);
  std::cout << (run->passed() ? "all agree" : "NO AGREEMENT") << " at " << world.now() << " s\n"
            << world.events() << " events and " << world.packets() << " packets in " << took
            << " s of processor time: " << static_cast<double>(world.events()) / took
            << " events/s\n"
            << (peakMemory() - before) / static_cast<double>(routers) / 1024
            << " KiB a router at the peak, " << took * 3600 / world.now()
            << " s for a simulated hour\ndigest " << std::hex << run->digest() << "\n";
  return run->passed() ? 0 : 1;
}

}  // namespace Routing::Sim
