#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sim/sweep/SeedBlock.h"

namespace Routing::Sim {

/// What the command line asks for.
struct Options {
  enum class Command : std::uint8_t { run, continuity, failover, scale, rehearse, replay };
  Command command = Command::run;
  std::vector<std::string> files;
  std::uint64_t firstSeed = 1;
  std::uint64_t lastSeed = 1;
  bool faults = false;
  bool goOn = false;  ///< after a promise was broken
  std::optional<double> until;
  std::string configs;  ///< the folder of the routers' files; empty: the scenario says all
  std::string pcap;
  std::string html;
  bool json = false;
  bool quiet = false;  ///< one line for each run
  unsigned jobs = 1;
  std::vector<std::pair<std::string, int>> traces;
  // For scale.
  unsigned columns = 100;
  unsigned rows = 100;
  unsigned rps = 100;
  double seconds = 300.0;
  // For rehearse; what is configured before is in `configs`.
  std::string to;
  std::string order = "all";
  double pause = 60.0;
  bool failEach = false;
  std::string jsonFile;

  SeedBlock seeds() const { return {firstSeed, lastSeed}; }
  bool manyRuns() const { return files.size() > 1 || firstSeed != lastSeed; }
};

/// Reads the command line. Help and errors are printed here; then the exit code is returned.
std::optional<int> readOptions(int argc, char** argv, Options& options);

}  // namespace Routing::Sim
