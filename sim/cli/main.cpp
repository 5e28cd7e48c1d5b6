#include <exception>
#include <iostream>

#include "sim/cli/ContinuityCommand.h"
#include "sim/cli/FailoverCommand.h"
#include "sim/cli/Options.h"
#include "sim/cli/RehearseCommand.h"
#include "sim/cli/ReplayCommand.h"
#include "sim/cli/RunCommand.h"
#include "sim/cli/ScaleCommand.h"
#include "sim/sweep/Ranks.h"

namespace Routing::Sim {
namespace {

int carryOut(const Options& options) {
  switch (options.command) {
    case Options::Command::continuity:
      return continuityCommand(options);
    case Options::Command::failover:
      return failoverCommand(options);
    case Options::Command::rehearse:
      return rehearseCommand(options);
    case Options::Command::replay:
      return replayCommand(options);
    case Options::Command::scale:
      return scaleCommand(options);
    default:
      return runCommand(options);
  }
}

/// What the first rank shows, the others keep to themselves.
void beSilent(Options& options) {
  std::cout.rdbuf(nullptr);
  options.html.clear();
  options.jsonFile.clear();
  options.pcap.clear();
}

}  // namespace
}  // namespace Routing::Sim

int main(int argc, char** argv) {
  using namespace Routing::Sim;
  Options options;
  if (const auto code = readOptions(argc, argv, options)) return *code;
  try {
    const Ranks ranks;
    if (!Ranks::isFirst()) beSilent(options);
    return Ranks::leave(carryOut(options));
  } catch (const std::exception& error) {
    std::cerr << "pimbsr-sim: " << error.what() << "\n";
    return 2;
  }
}
